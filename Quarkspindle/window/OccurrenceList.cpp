#include "Quarkspindle/window/OccurrenceList.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string_view>

#include "BarChartPlugin/BarChart.h"
#include "System/JobDescription.h"
#include "Utility/Text.h"

namespace Quarkspindle
{

namespace
{

using Bars = std::vector<Profiler::BarChartLOD::Bar>;

/// Between two looks at the flag of the job.
constexpr std::size_t cBlockSize = 65536;

// What the parts of the work take of the whole, roughly as they were measured.
constexpr float cShareOfFilter = 0.25F;
constexpr float cShareUntilSorted = 0.8F;

/// A bar with what it is ordered by, so that sorting stays in one array.
struct SortEntry
{
    uint64_t mKey;
    uint32_t mBar;
};

/// Positive numbers have the order of their bits; a duration below 0, which only a damaged capture has, counts as 0.
uint64_t MakeDurationKey(double durationMs)
{
    return durationMs > 0.0 ? std::bit_cast<uint64_t>(durationMs) : 0;
}

/// The first eight bytes. Texts whose keys differ have the order of their keys.
uint64_t MakeTextKey(std::string_view text)
{
    uint64_t key = 0;
    for (std::size_t i = 0; i < sizeof(key); ++i)
        key = key << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
    return key;
}

/// Sorts short runs and then merges them, so that it can be stopped and knows how far it is.
template <class Compare>
bool SortEntries(std::vector<SortEntry>& entries, Compare compare, const bool& cancelled, JobProgress& progress)
{
    const std::size_t size = entries.size();
    const auto at = [](std::vector<SortEntry>& list, std::size_t i) {
        return list.begin() + static_cast<std::ptrdiff_t>(i);
    };
    std::size_t numSteps = 1;
    for (std::size_t length = cBlockSize; length < size; length *= 2)
        ++numSteps;
    const auto report = [&](std::size_t step, std::size_t done) {
        const float inStep = static_cast<float>(done) / static_cast<float>(std::max<std::size_t>(size, 1));
        const float fraction = (static_cast<float>(step) + inStep) / static_cast<float>(numSteps);
        progress = cShareOfFilter + (cShareUntilSorted - cShareOfFilter) * fraction;
        return !System::gIsCancelled(cancelled);
    };

    for (std::size_t first = 0; first < size; first += cBlockSize)
    {
        if (!report(0, first))
            return false;
        std::sort(at(entries, first), at(entries, std::min(first + cBlockSize, size)), compare);
    }
    std::vector<SortEntry> merged(size > cBlockSize ? size : 0);
    std::size_t step = 1;
    for (std::size_t length = cBlockSize; length < size; length *= 2, ++step)
    {
        for (std::size_t first = 0; first < size; first += 2 * length)
        {
            if (!report(step, first))
                return false;
            const std::size_t middle = std::min(first + length, size);
            const std::size_t end = std::min(middle + length, size);
            std::merge(at(entries, first), at(entries, middle), at(entries, middle), at(entries, end),
                at(merged, first), compare);
        }
        entries.swap(merged);
    }
    return true;
}

bool SortByDuration(const Bars& bars, std::vector<uint32_t>& rows, const bool& cancelled, JobProgress& progress)
{
    std::vector<SortEntry> entries(rows.size());
    std::transform(rows.begin(), rows.end(), entries.begin(), [&](uint32_t bar) {
        return SortEntry{MakeDurationKey(bars[bar].TotalTimeMs), bar};
    });
    const auto compare = [](const SortEntry& a, const SortEntry& b) {
        return a.mKey != b.mKey ? a.mKey < b.mKey : a.mBar < b.mBar;
    };
    if (!SortEntries(entries, compare, cancelled, progress))
        return false;
    std::transform(entries.begin(), entries.end(), rows.begin(), [](const SortEntry& entry) { return entry.mBar; });
    return true;
}

bool SortByContext(const Bars& bars, std::vector<uint32_t>& rows, const bool& cancelled, JobProgress& progress)
{
    std::vector<SortEntry> entries(rows.size());
    std::transform(rows.begin(), rows.end(), entries.begin(), [&](uint32_t bar) {
        return SortEntry{MakeTextKey(bars[bar].Context), bar};
    });
    const auto compare = [&](const SortEntry& a, const SortEntry& b) {
        if (a.mKey != b.mKey)
            return a.mKey < b.mKey;
        const int order = bars[a.mBar].Context.compare(bars[b.mBar].Context);
        return order != 0 ? order < 0 : a.mBar < b.mBar;
    };
    if (!SortEntries(entries, compare, cancelled, progress))
        return false;
    std::transform(entries.begin(), entries.end(), rows.begin(), [](const SortEntry& entry) { return entry.mBar; });
    return true;
}

std::size_t GetBin(double position)
{
    const double bin = std::floor(position * static_cast<double>(DurationHistogram::cNumBins));
    return static_cast<std::size_t>(std::clamp(bin, 0.0, static_cast<double>(DurationHistogram::cNumBins - 1)));
}

/// Changes the order of the durations.
DurationHistogram MakeHistogram(std::vector<double>& durations)
{
    DurationHistogram histogram;
    for (const double duration : durations)
    {
        if (duration > 0.0 && (histogram.mSmallestPositive == 0.0 || duration < histogram.mSmallestPositive))
            histogram.mSmallestPositive = duration;
    }
    histogram.mStatistics = gComputeStatistics(durations);
    for (const double duration : durations)
    {
        ++histogram.mLinear[GetBin(histogram.GetPosition(duration, false))];
        ++histogram.mLogarithmic[GetBin(histogram.GetPosition(duration, true))];
    }
    return histogram;
}

}

double DurationHistogram::GetPosition(double durationMs, bool isLogarithmic) const
{
    const double last = mStatistics.Maximum;
    const double first = isLogarithmic ? mSmallestPositive : mStatistics.Minimum;
    if (last <= first || durationMs <= first)
        return 0.0;
    if (isLogarithmic)
        return std::min(1.0, std::log(durationMs / first) / std::log(last / first));
    return std::min(1.0, (durationMs - first) / (last - first));
}

double DurationHistogram::GetDuration(double position, bool isLogarithmic) const
{
    const double last = mStatistics.Maximum;
    const double first = isLogarithmic ? mSmallestPositive : mStatistics.Minimum;
    if (position <= 0.0 || last <= first)
        return isLogarithmic ? mStatistics.Minimum : first;
    if (position >= 1.0)
        return last;
    return isLogarithmic ? first * std::pow(last / first, position) : first + (last - first) * position;
}

std::optional<OccurrenceList> OccurrenceList::sCompute(
    const Profiler::BarChart& chart, const OccurrenceQuery& query, const bool& cancelled, JobProgress& progress)
{
    const Bars& bars = chart.GetLOD(0).Bars;
    OccurrenceList list;
    list.mIsByStart = query.mOrder == EOccurrenceOrder::Start;
    const bool takesAll = query.mContext.empty() && !query.HasDurations();

    std::vector<double> fitting; // durations of bars whose context fits
    std::vector<double> chosen;
    double slowest = -1.0;
    for (std::size_t i = 0; i < bars.size(); ++i)
    {
        if (i % cBlockSize == 0)
        {
            progress = cShareOfFilter * static_cast<float>(i) / static_cast<float>(bars.size());
            if (System::gIsCancelled(cancelled))
                return std::nullopt;
        }
        const Profiler::BarChartLOD::Bar& bar = bars[i];
        if (!query.mContext.empty() && !Utility::gContainsIgnoreCase(bar.Context, query.mContext))
            continue;
        fitting.push_back(bar.TotalTimeMs);
        if (bar.TotalTimeMs < query.mShortestMs || bar.TotalTimeMs > query.mLongestMs)
            continue;
        if (bar.TotalTimeMs > slowest)
        {
            slowest = bar.TotalTimeMs;
            list.mSlowestBar = static_cast<uint32_t>(i);
        }
        if (query.HasDurations())
            chosen.push_back(bar.TotalTimeMs);
        if (!takesAll || !list.mIsByStart)
            list.mBars.push_back(static_cast<uint32_t>(i));
    }
    list.mSize = takesAll ? bars.size() : list.mBars.size();

    const bool isSorted =
        query.mOrder == EOccurrenceOrder::Duration  ? SortByDuration(bars, list.mBars, cancelled, progress)
        : query.mOrder == EOccurrenceOrder::Context ? SortByContext(bars, list.mBars, cancelled, progress)
                                                    : true;
    progress = cShareUntilSorted;
    if (!isSorted || System::gIsCancelled(cancelled))
        return std::nullopt;
    list.mHistogram = MakeHistogram(fitting);
    list.mStatistics = query.HasDurations() ? gComputeStatistics(chosen) : list.mHistogram.mStatistics;
    list.mBars.shrink_to_fit();
    return list;
}

uint32_t OccurrenceList::GetBar(std::size_t row, bool isDescending) const
{
    const std::size_t place = isDescending ? mSize - 1 - row : row;
    return mBars.empty() ? static_cast<uint32_t>(place) : mBars[place];
}

std::optional<std::size_t> OccurrenceList::FindRow(uint32_t bar, bool isDescending) const
{
    std::size_t place = bar;
    if (!mBars.empty())
    {
        const auto found =
            mIsByStart ? std::lower_bound(mBars.begin(), mBars.end(), bar) : std::find(mBars.begin(), mBars.end(), bar);
        if (found == mBars.end() || *found != bar)
            return std::nullopt;
        place = static_cast<std::size_t>(found - mBars.begin());
    }
    if (place >= mSize)
        return std::nullopt;
    return isDescending ? mSize - 1 - place : place;
}

std::vector<std::size_t> OccurrenceList::FindRows(uint32_t first, uint32_t last, bool isDescending) const
{
    std::vector<std::size_t> rows;
    if (mBars.empty())
    {
        for (std::size_t place = first; place <= last && place < mSize; ++place)
            rows.push_back(place);
    }
    else
    {
        const auto begin = mIsByStart ? std::lower_bound(mBars.begin(), mBars.end(), first) : mBars.begin();
        const auto end = mIsByStart ? std::upper_bound(begin, mBars.end(), last) : mBars.end();
        for (auto bar = begin; bar != end; ++bar)
        {
            if (*bar >= first && *bar <= last)
                rows.push_back(static_cast<std::size_t>(bar - mBars.begin()));
        }
    }
    if (isDescending)
    {
        std::reverse(rows.begin(), rows.end());
        for (std::size_t& row : rows)
            row = mSize - 1 - row;
    }
    return rows;
}

}
