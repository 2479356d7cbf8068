#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Quarkspindle/ChartStatistics.h"

namespace Profiler
{
class BarChart;
}

namespace Quarkspindle
{

enum class EOccurrenceOrder
{
    Start,
    Duration,
    Context,
};

/// Which occurrences of a chart are wanted, and in which ascending order; equal ones come by their start.
struct OccurrenceQuery
{
    std::string mContext{}; ///< part of the context; the case of ASCII letters does not count
    double mShortestMs = 0.0;
    double mLongestMs = std::numeric_limits<double>::infinity();
    EOccurrenceOrder mOrder = EOccurrenceOrder::Start;

    bool HasDurations() const { return mShortestMs > 0.0 || mLongestMs < std::numeric_limits<double>::infinity(); }
    bool operator==(const OccurrenceQuery&) const = default;
};

/// How often durations fall into intervals, of equal width and of equal ratio.
struct DurationHistogram
{
    static constexpr std::size_t cNumBins = 240;
    using Bins = std::array<uint32_t, cNumBins>;

    ChartStatistics mStatistics; ///< of the durations in it
    double mSmallestPositive = 0.0;
    Bins mLinear{};      ///< from the minimum to the maximum
    Bins mLogarithmic{}; ///< from the smallest that is above 0, with all below it in the first

    /// The place of a duration between both ends, 0 to 1, and back.
    double GetPosition(double durationMs, bool isLogarithmic) const;
    double GetDuration(double position, bool isLogarithmic) const;
};

/// How far a job has come, 0 to 1: it writes, the window reads.
using JobProgress = std::atomic<float>;

/// The occurrences that a query chose from a chart, as indices into the bars of its level 0, with what their durations
/// say. It is made on a job, never changes afterwards, and takes 4 bytes for each row, none where the rows are the bars
/// themselves.
class OccurrenceList
{
public:
    /// Nothing when `cancelled` was set meanwhile. For 10 million bars in the order of durations it takes seconds and
    /// 320 MB, which it gives back at its end.
    static std::optional<OccurrenceList> sCompute(
        const Profiler::BarChart& chart, const OccurrenceQuery& query, const bool& cancelled, JobProgress& progress);

    OccurrenceList() = default;

    std::size_t GetSize() const { return mSize; }

    /// The bar in a row. `isDescending` reads the list from its end.
    uint32_t GetBar(std::size_t row, bool isDescending = false) const;

    /// The row of a bar, or nothing when it was not chosen. Searches the list unless it is in the order of starts.
    std::optional<std::size_t> FindRow(uint32_t bar, bool isDescending = false) const;

    /// The rows of the bars from one to another, both included, as far as they were chosen; in ascending order. Looks
    /// at the whole list once unless it is in the order of starts.
    std::vector<std::size_t> FindRows(uint32_t first, uint32_t last, bool isDescending = false) const;

    /// Of the rows.
    const ChartStatistics& GetStatistics() const { return mStatistics; }

    /// The first of the longest ones; only when there is a row.
    uint32_t GetSlowestBar() const { return mSlowestBar; }

    /// Of all bars whose context fits, whatever durations the query names.
    const DurationHistogram& GetHistogram() const { return mHistogram; }

private:
    std::vector<uint32_t> mBars; ///< empty when row n is bar n
    std::size_t mSize = 0;
    bool mIsByStart = true;
    uint32_t mSlowestBar = 0;
    ChartStatistics mStatistics;
    DurationHistogram mHistogram;
};

}
