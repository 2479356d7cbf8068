#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <zlib.h>

#include "Utility/TemporaryFolder.h"
#include "tests/support/RunProgram.h"

/// The charts of the bundled trace, computed once more by other means: the whole file as a DOM, integer nanoseconds,
/// lanes and outermost occurrences by their definitions, with nothing of the product's code in between.
namespace
{

struct Interval
{
    int64_t StartNs;
    int64_t EndNs;
    std::string Name;
    std::size_t FileOrder;
    bool IsOutermost = true; ///< not inside another interval of its name on its lane
};

std::string ReadGzip(const std::string& path)
{
    std::string text;
    gzFile file = gzopen(path.c_str(), "rb");
    std::vector<char> block(1 << 16);
    for (int count; (count = gzread(file, block.data(), static_cast<unsigned>(block.size()))) > 0;)
        text.append(block.data(), static_cast<std::size_t>(count));
    gzclose(file);
    return text;
}

/// All complete events by (pid, tid), rebased, without the compiler's summaries. Times of this trace are whole
/// microseconds.
std::map<std::pair<int64_t, int64_t>, std::vector<Interval>> ReadThreads(const std::string& path)
{
    std::map<std::pair<int64_t, int64_t>, std::vector<Interval>> threads;
    rapidjson::Document json;
    json.Parse(ReadGzip(path).c_str());
    int64_t first = INT64_MAX;
    std::size_t order = 0;
    for (const auto& event : json["traceEvents"].GetArray())
    {
        ++order;
        if (std::string{event["ph"].GetString()} != "X")
            continue;
        const std::string name = event["name"].GetString();
        const bool summary =
            name.rfind("Total ", 0) == 0 && event.HasMember("args") && event["args"].HasMember("avg ms");
        if (summary)
            continue;
        const int64_t start = event["ts"].GetInt64() * 1000;
        const int64_t end = start + event["dur"].GetInt64() * 1000;
        first = std::min(first, start);
        threads[{event["pid"].GetInt64(), event["tid"].GetInt64()}].push_back({start, end, name, order});
    }
    for (auto& [id, intervals] : threads)
    {
        for (Interval& interval : intervals)
        {
            interval.StartNs -= first;
            interval.EndNs -= first;
        }
    }
    return threads;
}

/// Puts each interval on the first lane where it nests, and marks those inside another of their name.
std::vector<std::vector<Interval>> MakeLanes(std::vector<Interval> intervals)
{
    std::sort(intervals.begin(), intervals.end(), [](const Interval& a, const Interval& b) {
        return std::tuple{a.StartNs, -a.EndNs, a.FileOrder} < std::tuple{b.StartNs, -b.EndNs, b.FileOrder};
    });
    std::vector<std::vector<Interval>> lanes;
    std::vector<std::vector<Interval>> open;
    for (Interval& interval : intervals)
    {
        for (std::size_t lane = 0;; ++lane)
        {
            if (lane == lanes.size())
            {
                lanes.emplace_back();
                open.emplace_back();
            }
            while (!open[lane].empty() && open[lane].back().EndNs <= interval.StartNs)
                open[lane].pop_back();
            if (!open[lane].empty() && interval.EndNs > open[lane].back().EndNs)
                continue;
            interval.IsOutermost = std::none_of(open[lane].begin(), open[lane].end(),
                [&](const Interval& outer) { return outer.Name == interval.Name; });
            open[lane].push_back(interval);
            lanes[lane].push_back(interval);
            break;
        }
    }
    return lanes;
}

/// The CSV lines of a chart, without their contexts.
std::vector<std::string> ExpectBars(const std::vector<Interval>& lane, const std::string& name)
{
    std::vector<std::string> lines;
    for (const Interval& interval : lane)
    {
        if (interval.Name != name || !interval.IsOutermost)
            continue;
        const double start = static_cast<double>(interval.StartNs) / 1e6;
        const double end = static_cast<double>(interval.EndNs) / 1e6;
        char line[128];
        std::snprintf(line, sizeof line, "%zu,%.17g,%.17g,%.17g", lines.size(), start, end, end - start);
        lines.emplace_back(line);
    }
    return lines;
}

std::vector<std::string> ReadBars(const std::string& csv)
{
    std::vector<std::string> lines;
    std::size_t begin = csv.find('\n') + 1;
    while (begin < csv.size())
    {
        // A context may hold line feeds inside its quotes.
        std::size_t end = begin;
        for (bool quoted = false; end < csv.size() && (quoted || csv[end] != '\n'); ++end)
            quoted ^= csv[end] == '"';
        const std::string line = csv.substr(begin, end - begin);
        std::size_t comma = 0;
        for (int i = 0; i < 4; ++i)
            comma = line.find(',', comma + (i > 0 ? 1 : 0));
        lines.push_back(line.substr(0, comma));
        begin = end + 1;
    }
    return lines;
}

TEST(SampleTraceTest, EveryChartAgreesWithAnIndependentComputation)
{
    const TemporaryFolder directory;
    const std::string capture = directory / "capture";
    const Tests::ProgramResult imported = Tests::gRunQuarkspindle({"import", QUARKSPINDLE_SAMPLE, "-o", capture});
    ASSERT_EQ(imported.ExitCode, 0) << imported.Errors;

    const auto threads = ReadThreads(QUARKSPINDLE_SAMPLE);
    std::size_t numBars = 0;
    std::size_t numCharts = 0;
    for (const auto& [id, intervals] : threads)
    {
        const std::vector<std::vector<Interval>> lanes = MakeLanes(intervals);
        // Lane 0 is the thread itself; the ids of the others are the importer's to choose, so only it is asked for.
        std::map<std::string, bool> names;
        for (const Interval& interval : lanes.front())
            names[interval.Name] = true;
        for (const auto& [name, seen] : names)
        {
            const Tests::ProgramResult chart = Tests::gRunQuarkspindle(
                {"chart", capture, "--event", name, "--thread", std::to_string(id.second), "--format", "csv"});
            ASSERT_EQ(chart.ExitCode, 0) << chart.Errors;
            const std::vector<std::string> expected = ExpectBars(lanes.front(), name);
            EXPECT_EQ(ReadBars(chart.Output), expected) << name;
            numBars += expected.size();
            ++numCharts;
        }
    }
    // The computation above is only worth something on a trace with something in it.
    EXPECT_GT(numCharts, 10u);
    EXPECT_GT(numBars, 500u);
}

TEST(SampleTraceTest, VerifyFindsNothingWrongWithAnImport)
{
    const TemporaryFolder directory;
    const std::string capture = directory / "capture";
    ASSERT_EQ(Tests::gRunQuarkspindle({"import", QUARKSPINDLE_SAMPLE, "-o", capture}).ExitCode, 0);
    const Tests::ProgramResult verified = Tests::gRunQuarkspindle({"verify", capture});
    EXPECT_EQ(verified.ExitCode, 0) << verified.Output << verified.Errors;
}

}
