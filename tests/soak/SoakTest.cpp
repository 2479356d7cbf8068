#include "BarChartPlugin/BarChart.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Quarkspindle/Capture.h"
#include "Quarkspindle/ChartFinder.h"
#include "Quarkspindle/Host.h"
#include "Utility/FailingFileCalls.h"
#include "Utility/TemporaryFolder.h"
#include "tests/soak/ProcessFigures.h"
#include "tests/soak/Recording.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>
#include <vector>

namespace
{

using namespace Tests;

constexpr uint64_t cSeed = 6;
constexpr int cNumMilestones = 20;

class SoakTest : public ::testing::Test
{
protected:
    std::string GetSessionPath() const { return mFolder / "capture.session"; }

    /// As a program does that is run to look at the end of a capture, or at a chart.
    void OpenAndClose(uint64_t numEvents, bool withChart)
    {
        Quarkspindle::Host host;
        Utility::Result result;
        ASSERT_TRUE(host.LoadPlugins(Quarkspindle::Host::EViews::Without, result)) << result.ToString();
        const std::unique_ptr<Profiler::Session> session =
            Quarkspindle::gOpenCapture(host, GetSessionPath(), mInterrupted, result);
        ASSERT_NE(session, nullptr) << result.ToString();
        ASSERT_EQ(session->GetEventStream().GetNumEvents(), numEvents);

        uint64_t number = numEvents - std::min<uint64_t>(numEvents, 20'000);
        auto events = session->GetEventStream().GetIterator(static_cast<double>(number) * 0.5);
        for (; !events.IsAtEnd(); ++number)
            ASSERT_EQ(events.Next().mTime, static_cast<double>(number) * 0.5);
        ASSERT_EQ(number, numEvents);
        if (!withChart)
            return;

        Profiler::BarChartModel* const model = Quarkspindle::gFindBarChartModel(*session, result);
        ASSERT_NE(model, nullptr) << result.ToString();
        const auto threadID =
            Quarkspindle::gChooseThread(*session, *model, cRareName, std::nullopt, mInterrupted, result);
        ASSERT_TRUE(threadID.has_value()) << result.ToString();
        const Profiler::BarChart* const chart =
            Quarkspindle::gComputeChart(*session, *model, cRareName, *threadID, mInterrupted, result);
        ASSERT_NE(chart, nullptr) << result.ToString();
        EXPECT_GE(chart->GetNumEvents(), static_cast<int>(numEvents / 30'000));
    }

    /// With all closed but the recording itself.
    static ProcessFigures GetFigures(int numThreads)
    {
        ProcessFigures figures = gGetProcessFigures();
        // A thread that was joined is still listed for a moment.
        for (int i = 0; i < 1000 && figures.NumThreads > numThreads; ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds{5});
            figures = gGetProcessFigures();
        }
        return figures;
    }

    const TemporaryFolder mFolder;
    const std::atomic<bool> mInterrupted{false};
};

TEST_F(SoakTest, MemoryStaysFlatAndNothingIsLeftOpen)
{
    const uint64_t numEvents = gIsLongForm() ? 10'000'000 : 400'000;
    const uint64_t numOpenings = gIsLongForm() ? 2000 : 60;
    const uint64_t eventsPerOpening = numEvents / numOpenings;
    const uint64_t openingsPerMilestone = numOpenings / cNumMilestones;
    FileSystem::Internal::FastFileCalls calls;
    const FileSystem::Internal::ScopedFileCalls scope{calls};

    Quarkspindle::Host host;
    Utility::Result result;
    ASSERT_TRUE(host.LoadPlugins(Quarkspindle::Host::EViews::Without, result)) << result.ToString();
    const int numThreads = gGetProcessFigures().NumThreads;
    Profiler::Session session{GetSessionPath(), nullptr, &host.GetJobScheduler(), &host.GetPlugins()};
    session.CreateModels();
    ASSERT_TRUE(session.BeginModels(result)) << result.ToString();

    std::vector<ProcessFigures> figures;
    uint64_t number = 0;
    for (uint64_t opening = 1; opening <= numOpenings; ++opening)
    {
        for (const uint64_t end = opening * eventsPerOpening; number < end; ++number)
            ASSERT_TRUE(session.AddEvent(gMakeRecordedEvent(cSeed, number), result)) << result.ToString();
        ASSERT_TRUE(session.Save(result)) << result.ToString();
        ASSERT_NO_FATAL_FAILURE(OpenAndClose(number, opening % openingsPerMilestone == 0));
        if (opening % openingsPerMilestone == 0)
        {
            figures.push_back(GetFigures(numThreads));
            std::printf("%llu events, %llu openings: %llu KiB, %d threads, %d descriptors\n",
                static_cast<unsigned long long>(number), static_cast<unsigned long long>(opening),
                static_cast<unsigned long long>(figures.back().MemoryKiB), figures.back().NumThreads,
                figures.back().NumDescriptors);
        }
    }

    uint64_t highestOfFirstHalf = 0;
    for (std::size_t i = 0; i < figures.size(); ++i)
    {
        SCOPED_TRACE(::testing::Message() << "milestone " << i);
        if (i < figures.size() / 2)
            highestOfFirstHalf = std::max(highestOfFirstHalf, figures[i].MemoryKiB);
        else
            EXPECT_LE(figures[i].MemoryKiB, highestOfFirstHalf + 1024);
        EXPECT_EQ(figures[i].NumThreads, numThreads);
        EXPECT_EQ(figures[i].NumDescriptors, figures.front().NumDescriptors);
    }
}

}
