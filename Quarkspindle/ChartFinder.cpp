#include "Quarkspindle/ChartFinder.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <unordered_map>
#include <vector>

#include "BarChartPlugin/BarChartModel.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/Error.h"
#include "System/JobScheduler.h"
#include "Utility/Text.h"

namespace Quarkspindle
{

namespace
{

/// Occurrences of one event on each thread, counted as the charts count them: the outermost ones, once they have ended.
class OccurrenceCounter
{
public:
    OccurrenceCounter(const std::vector<int32_t>& threadIDs, std::string name) : mName{std::move(name)}
    {
        for (const int32_t threadID : threadIDs)
            mThreads[threadID] = {};
    }

    void ProcessEvent(const Profiler::TraceEventRecord& event)
    {
        const bool isBegin = event.GetType() == Profiler::ETraceEventType::InstrumentationBegin;
        if (!isBegin && event.GetType() != Profiler::ETraceEventType::InstrumentationEnd)
            return;
        const auto found = mThreads.find(event.GetThreadID());
        if (found == mThreads.end())
            return;
        State& state = found->second;
        if (isBegin)
        {
            if (state.Depth > 0 || event.GetBeginName() == mName)
                ++state.Depth;
        }
        else if (state.Depth > 0 && --state.Depth == 0)
        {
            ++state.Count;
        }
    }

    uint64_t GetCount(int32_t threadID) const { return mThreads.at(threadID).Count; }

private:
    struct State
    {
        uint64_t Depth = 0;
        uint64_t Count = 0;
    };

    std::string mName;
    std::unordered_map<int32_t, State> mThreads;
};

/// The threads that have the event, in the order of their first occurrence.
std::vector<int32_t> FindThreads(Profiler::BarChartModel& model, const std::string& name)
{
    std::vector<int32_t> threadIDs;
    for (const Profiler::BarChartDescription& chart : model.GetAllBarCharts())
    {
        if (chart.Name == name)
            threadIDs.push_back(chart.ThreadID);
    }
    return threadIDs;
}

/// The message for a name that no event has, with names that the user may have meant.
void FailUnknownEvent(Profiler::BarChartModel& model, const std::string& name, Utility::Result& result)
{
    constexpr std::size_t cMostSuggestions = 3;
    std::vector<std::string> suggestions;
    for (const Profiler::BarChartDescription& chart : model.GetAllBarCharts())
    {
        if (suggestions.size() < cMostSuggestions && Utility::gContainsIgnoreCase(chart.Name, name) &&
            std::find(suggestions.begin(), suggestions.end(), chart.Name) == suggestions.end())
            suggestions.push_back(chart.Name);
    }
    std::string message = "There is no event \"" + name + "\"";
    for (const std::string& suggestion : suggestions)
        message += (&suggestion == &suggestions.front() ? "; did you mean \"" : "\", \"") + suggestion;
    message += suggestions.empty() ? "; 'quarkspindle list' shows those there are" : "\"?";
    result.FailText(Serialization::Unspecified, message);
}

}

Profiler::BarChartModel* gFindBarChartModel(Profiler::Session& session, Utility::Result& result)
{
    for (Profiler::Model* model : session.GetModels())
    {
        if (Profiler::BarChartModel* barChartModel = Profiler::gAsBarChartModel(*model))
            return barChartModel;
    }
    result.FailText(Serialization::Unspecified, "The plug-in gave no chart model of this program's version");
    return nullptr;
}

std::optional<int32_t> gChooseThread(Profiler::Session& session, Profiler::BarChartModel& model,
    const std::string& name, std::optional<int32_t> threadID, const std::atomic<bool>& interrupted,
    Utility::Result& result)
{
    const auto context = result.PushContext(session.GetPath());
    const std::vector<int32_t> threadIDs = FindThreads(model, name);
    if (threadIDs.empty())
    {
        FailUnknownEvent(model, name, result);
        return std::nullopt;
    }
    if (threadID)
    {
        if (std::find(threadIDs.begin(), threadIDs.end(), *threadID) != threadIDs.end())
            return threadID;
        result.Fail(
            Serialization::Unspecified, "The event \"%s\" does not occur on thread %d", name.c_str(), *threadID);
        return std::nullopt;
    }
    if (threadIDs.size() == 1)
        return threadIDs.front();

    OccurrenceCounter counter{threadIDs, name};
    bool isComplete = true;
    session.GetEventStream().GetIterator(0.0).ForEachRecord([&](const Profiler::TraceEventRecord& event) {
        counter.ProcessEvent(event);
        isComplete = !interrupted.load(std::memory_order_relaxed);
        return isComplete;
    });
    if (!isComplete)
    {
        result.FailText(Serialization::Unspecified, "Interrupted");
        return std::nullopt;
    }
    return *std::max_element(threadIDs.begin(), threadIDs.end(),
        [&](int32_t a, int32_t b) { return counter.GetCount(a) < counter.GetCount(b); });
}

std::optional<Profiler::BarChartDescription> gFindBusiestChart(
    Profiler::Session& session, const std::atomic<bool>& interrupted)
{
    constexpr uint64_t cMostEvents = 1000000;

    std::unordered_map<Profiler::BarChartDescription, uint64_t, Profiler::BarChartDescriptionHash,
        Profiler::BarChartDescriptionEqual>
        counts;
    std::optional<Profiler::BarChartDescription> busiest;
    uint64_t highest = 0;
    uint64_t numEvents = 0;
    session.GetEventStream().GetIterator(0.0).ForEachRecord([&](const Profiler::TraceEventRecord& event) {
        if (event.GetType() == Profiler::ETraceEventType::InstrumentationBegin)
        {
            const Profiler::BarChartDescriptionView chart{event.GetBeginName(), event.GetThreadID()};
            auto found = counts.find(chart);
            if (found == counts.end())
                found = counts.try_emplace({std::string{chart.Name}, chart.ThreadID}).first;
            if (++found->second > highest)
            {
                highest = found->second;
                if (!busiest || chart != *busiest)
                    busiest = found->first;
            }
        }
        return ++numEvents < cMostEvents && !interrupted.load(std::memory_order_relaxed);
    });
    return busiest;
}

const Profiler::BarChart* gComputeChart(Profiler::Session& session, Profiler::BarChartModel& model,
    const std::string& name, int32_t threadID, const std::atomic<bool>& interrupted, Utility::Result& result)
{
    constexpr std::chrono::milliseconds cInterruptInterval{50};

    // Shared with the callback, which a cancelled job may still hold when this function has returned.
    auto promise = std::make_shared<std::promise<const Profiler::BarChart*>>();
    std::future<const Profiler::BarChart*> future = promise->get_future();
    const System::JobHandle job = model.GetOrCreateBarChart(
        threadID, name, System::JobHandle{}, [promise](Profiler::BarChart& chart) { promise->set_value(&chart); });
    while (future.wait_for(cInterruptInterval) != std::future_status::ready)
    {
        if (interrupted.load(std::memory_order_relaxed))
        {
            session.GetJobScheduler()->Wait({job}, true);
            result.FailText(Serialization::Unspecified, "Interrupted");
            return nullptr;
        }
    }
    // The callback runs inside the job: the job itself has to be over before anything it uses may go.
    session.GetJobScheduler()->Wait({job}, false);
    return future.get();
}

}
