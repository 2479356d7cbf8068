#pragma once

#include "BarChartPlugin/BarChartDescription.h"
#include "BarChartPlugin/BarChartLOD.h"
#include "ProfilerLib/session/TraceEvent.h"
#include "ProfilerLib/session/TraceEventCodec.h"
#include "Serialization/RTTI/TypeOf.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Profiler
{

/// Which two of a chart's levels a view is between, and how far it is from the lower to the upper one: the fraction of
/// the logarithm, negative for less than one bar a slot.
struct LODPair
{
    int32_t mLower;
    int32_t mUpper;
    float mBlend;
};

/// The levels for a view in which so many bars of level 0 fall on one slot; the last of `numLODs` stands for all above.
[[nodiscard]] LODPair gFindLODs(float barsPerSlot, int32_t numLODs);

/// How long each occurrence of one instrumentation event took on one thread, at ten levels of detail. An occurrence is
/// the outermost scope of that name: what is nested in it, of whatever name, is part of it. While it is built a chart
/// belongs to the one job that feeds it; from its publication on it never changes and is read without a lock.
class BarChart
{
public:
    static constexpr int32_t cNumLODs = 10;

    /// Without levels: for the reader, which takes those of the file.
    BarChart() = default;

    /// With ten empty levels, ready for the first event.
    explicit BarChart(BarChartDescription description);

    /// Feeds one event, in stream order. One of another thread or type costs two compares; only the begin of an
    /// occurrence has its context copied.
    template <class Text>
    void ProcessEvent(const BasicTraceEvent<Text>& event)
    {
        if (event.mThreadID != mDescription.ThreadID)
            return;
        if (event.mType == ETraceEventType::InstrumentationBegin)
        {
            if (BeginScope(event.mName))
                OpenOccurrence(event.mTime, event.mContext);
        }
        else if (event.mType == ETraceEventType::InstrumentationEnd && EndScope())
            CloseOccurrence(event.mTime);
    }

    /// The same for an event where it lies in its stream.
    void ProcessEvent(const TraceEventRecord& record)
    {
        if (record.GetThreadID() != mDescription.ThreadID)
            return;
        if (record.GetType() == ETraceEventType::InstrumentationBegin)
        {
            if (BeginScope(record.GetBeginName()))
                OpenOccurrence(record.GetTime(), record.GetBeginContext());
        }
        else if (record.GetType() == ETraceEventType::InstrumentationEnd && EndScope())
            CloseOccurrence(record.GetTime());
    }

    /// The level at that index, unchecked.
    BarChartLOD& GetLOD(int32_t level) { return mLODs[static_cast<std::size_t>(level)]; }
    const BarChartLOD& GetLOD(int32_t level) const { return mLODs[static_cast<std::size_t>(level)]; }

    /// The levels of `gFindLODs`. The chart has levels.
    void GetLODs(float barsPerSlot, BarChartLOD*& lower, BarChartLOD*& upper, float& blend);
    void GetLODs(float barsPerSlot, const BarChartLOD*& lower, const BarChartLOD*& upper, float& blend) const;

    [[nodiscard]] int32_t GetNumLODs() const { return static_cast<int32_t>(mLODs.size()); }

    /// The number of occurrences, which is that of the bars at level 0.
    [[nodiscard]] int32_t GetNumEvents() const { return static_cast<int32_t>(mLODs[0].Bars.size()); }

    [[nodiscard]] const BarChartDescription& GetDescription() const { return mDescription; }

    /// The longest duration among all occurrences in milliseconds; 0 while there are none.
    [[nodiscard]] double GetLargestTime() const { return mLargestTime; }

    /// The sum of all durations in milliseconds.
    [[nodiscard]] double GetTotalTime() const { return mTotalTime; }

    /// False for a chart that no run of this class could have left behind: without levels, with levels or bar counts
    /// that contradict each other, or with times that are no numbers. What is read from a file is asked for this.
    [[nodiscard]] bool IsConsistent() const;

private:
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<BarChart>("Profiler::BarChart", RTTI::Version{1},
            RTTI::Field<&BarChart::mDescription>{"Description"}, RTTI::Field<&BarChart::mLODs>{"LODs"},
            RTTI::Field<&BarChart::mLargestTime>{"LargestTime"}, RTTI::Field<&BarChart::mTotalTime>{"TotalTime"});
    }

    /// True when the scope opens an occurrence. What is nested in one only deepens the count, whatever its name.
    bool BeginScope(std::string_view name)
    {
        if (mScopeDepth != 0)
        {
            ++mScopeDepth;
            return false;
        }
        mScopeDepth = name == mDescription.Name ? 1 : 0;
        return mScopeDepth == 1;
    }

    /// True when the scope was that of the occurrence. An end outside of one belongs to another event: ends have no
    /// name.
    bool EndScope() { return mScopeDepth != 0 && --mScopeDepth == 0; }

    void OpenOccurrence(double timeMs, std::string_view context);
    void CloseOccurrence(double timeMs);
    void AddOccurrence(double startTimeMs, double endTimeMs, std::string_view context);

    BarChartDescription mDescription;
    std::vector<BarChartLOD> mLODs; ///< index i has `LODLevel` i
    double mLargestTime = 0.0;
    double mTotalTime = 0.0;

    // Only while the chart is built.
    double mScopeStartTime = -1.0; ///< begin of the occurrence that is open
    std::string mScopeContext;
    uint32_t mScopeDepth = 0; ///< scopes open on the thread, counted from that of the occurrence; 0: none is open
};

}
