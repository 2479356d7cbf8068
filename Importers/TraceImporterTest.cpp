#include "Importers/ImportTestSupport.h"
#include "Utility/Format.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Importers
{
namespace
{
using testing::HasSubstr;

struct TraceRow
{
    const char* mWhat;
    /// What stands between "[" and "]".
    const char* mEvents;
    const char* mThreads;
    const char* mCounts;
};

void ExpectRows(std::span<const TraceRow> rows)
{
    for (const TraceRow& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        const ImportRun run = gRunImport(std::string("[") + row.mEvents + "]");
        EXPECT_TRUE(run.mIsSuccess) << run.GetError();
        EXPECT_EQ(run.mThreads, row.mThreads);
        EXPECT_EQ(gDescribeCounts(run.mReport), row.mCounts);
        EXPECT_TRUE(run.mReport.mDamage.empty());
    }
}

TEST(TraceImporter, CompleteEvents)
{
    const TraceRow rows[] = {
        {"times as number, fraction, exponent and text; the first one is time 0",
            R"({"ph":"X","name":"a","pid":1,"tid":7,"ts":1000,"dur":10},
               {"ph":"X","name":"b","pid":1,"tid":7,"ts":"1001.5","dur":"2.25"},
               {"ph":"X","name":"c","pid":1,"tid":7,"ts":1.02e3,"dur":1E-1})",
            "7: a 0-10 (b 1.5-3.75) c 20-20.1", "events 3, complete 3"},
        {"a clock that counts from 1970",
            R"({"ph":"X","name":"a","pid":1,"tid":7,"ts":1699999999123456.789,"dur":0.001},
               {"ph":"X","name":"b","pid":1,"tid":7,"ts":1699999999123457.001,"dur":1})",
            "7: a 0-0.001 b 0.212-1.212", "events 2, complete 2"},
        {"nesting that only the sum of start and duration keeps",
            R"({"ph":"X","name":"a","pid":1,"tid":7,"ts":0.0004,"dur":1.0003},
               {"ph":"X","name":"b","pid":1,"tid":7,"ts":0.5005,"dur":0.5001})",
            "7: a 0-1.001 (b 0.501-1.001)", "events 2, complete 2"},
        {"no duration is unfinished, a negative one is rejected, one of nothing is kept",
            R"({"ph":"X","name":"a","tid":7,"ts":5},{"ph":"X","name":"b","tid":7,"ts":6,"dur":-1},
               {"ph":"X","name":"c","tid":7,"ts":7,"dur":0},{"ph":"X","name":"d","tid":7,"ts":7,"dur":null})",
            "7: c 0-0", "events 4, complete 1, rejected 1, unfinished 2"},
        {"times that are none",
            R"({"ph":"X","name":"a","tid":7,"ts":0,"dur":1},{"ph":"X","name":"a","tid":7,"dur":1},
               {"ph":"X","name":"a","tid":7,"ts":"soon","dur":1},{"ph":"X","name":"a","tid":7,"ts":[1],"dur":1},
               {"ph":"X","name":"a","tid":7,"ts":1e300,"dur":1},{"ph":"X","name":"a","tid":7,"ts":1,"dur":9.3e15},
               {"ph":"X","name":"a","tid":7,"ts":9e15,"dur":1e15},{"ph":"X","name":"a","tid":7,"ts":1,"dur":true})",
            "7: a 0-1", "events 8, complete 1, rejected 7"},
        {"times before 0, and over the whole range",
            R"({"ph":"X","name":"a","tid":7,"ts":-5,"dur":2},{"ph":"X","name":"b","tid":7,"ts":-1.5,"dur":2})",
            "7: a 0-2 b 3.5-5.5", "events 2, complete 2"},
        {"entries that are no events, and members that come twice",
            R"(null,[{}],"X",{},{"ph":7,"ts":1,"dur":1},{"ph":"","ts":1},
               {"name":"a","ph":"i","name":"b","ts":3,"ph":"X","ts":4,"dur":1,"tid":7})",
            "7: b 0-1", "events 7, complete 1, rejected 6"},
        {"names that are missing or not texts",
            R"({"ph":"X","tid":7,"ts":0,"dur":1},{"ph":"X","name":null,"tid":7,"ts":1,"dur":1},
               {"ph":"X","name":12,"tid":7,"ts":2,"dur":1},{"ph":"X","name":"","tid":7,"ts":3,"dur":1})",
            "7: (unnamed) 0-1 (unnamed) 1-2 12 2-3 (unnamed) 3-4", "events 4, complete 4"},
        {"summaries of a compiler are left out, what only looks like one is not",
            R"({"ph":"X","name":"Total Source","tid":7,"ts":0,"dur":9,"args":{"count":3,"avg ms":3}},
               {"ph":"X","name":"Total","tid":7,"ts":1,"dur":1,"args":{"avg ms":3}},
               {"ph":"X","name":"Total Source","tid":7,"ts":2,"dur":1,"args":{"count":3}})",
            "7: Total 0-1 [avg ms: 3] Total Source 1-2 [count: 3]", "events 3, complete 2, summaries 1"},
        {"other phases are counted",
            R"({"ph":"X","name":"a","tid":7,"ts":0,"dur":1},{"ph":"C","name":"n","ts":0,"args":{"n":1}},
               {"ph":"i","name":"n","ts":0},{"ph":"C","name":"n","ts":0},{"ph":"long","ts":0})",
            "7: a 0-1", "events 5, complete 1, skipped 4"},
    };
    ExpectRows(rows);

    const ImportRun run = gRunImport(std::string("[") + std::rbegin(rows)->mEvents + "]");
    const std::map<std::string, std::uint64_t> phases = {{"C", 2}, {"i", 1}, {"long", 1}};
    EXPECT_EQ(run.mReport.mSkippedByPhase, phases);
}

TEST(TraceImporter, BeginsAndEnds)
{
    const TraceRow rows[] = {
        {"in any order of the file, ties as they stand",
            R"({"ph":"E","name":"a","tid":7,"ts":10},{"ph":"B","name":"b","tid":7,"ts":2},
               {"ph":"B","name":"a","tid":7,"ts":0},{"ph":"E","name":"b","tid":7,"ts":4},
               {"ph":"B","name":"c","tid":7,"ts":10},{"ph":"E","name":"c","tid":7,"ts":10})",
            "7: a 0-10 (b 2-4) c 10-10", "events 6, paired 6"},
        {"an end closes the nearest begin of its name, and what it skips is unfinished",
            R"({"ph":"B","name":"a","tid":7,"ts":0},{"ph":"B","name":"a","tid":7,"ts":1},
               {"ph":"B","name":"b","tid":7,"ts":2},{"ph":"B","name":"c","tid":7,"ts":3},
               {"ph":"E","name":"a","tid":7,"ts":4},{"ph":"E","name":"b","tid":7,"ts":5},
               {"ph":"E","name":"a","tid":7,"ts":6})",
            "7: a 0-6 (a 1-4)", "events 7, paired 4, unfinished 2, unmatched 1"},
        {"an end without a name closes what was opened last",
            R"({"ph":"B","name":"a","tid":7,"ts":0},{"ph":"B","name":"b","tid":7,"ts":1},
               {"ph":"E","tid":7,"ts":2},{"ph":"E","name":"","tid":7,"ts":3},{"ph":"E","tid":7,"ts":4})",
            "7: a 0-3 (b 1-2)", "events 5, paired 4, unmatched 1"},
        {"a begin without an end, an end without a begin, another thread",
            R"({"ph":"E","name":"a","tid":7,"ts":0},{"ph":"B","name":"a","tid":7,"ts":1},
               {"ph":"E","name":"a","tid":8,"ts":2},{"ph":"X","name":"x","tid":7,"ts":3,"dur":1})",
            "7: x 0-1", "events 4, complete 1, unfinished 1, unmatched 2"},
        {"arguments of the end only when the begin has none",
            R"({"ph":"B","name":"a","tid":7,"ts":0,"args":{"n":1}},{"ph":"E","tid":7,"ts":1,"args":{"n":2}},
               {"ph":"B","name":"b","tid":7,"ts":2,"args":{}},{"ph":"E","tid":7,"ts":3,"args":{"n":3}})",
            "7: a 0-1 [n: 1] b 2-3 [n: 3]", "events 4, paired 4"},
        {"with complete events on the same thread",
            R"({"ph":"B","name":"a","tid":7,"ts":0},{"ph":"X","name":"x","tid":7,"ts":0,"dur":4},
               {"ph":"E","name":"a","tid":7,"ts":4})",
            "7: a 0-4 (x 0-4)", "events 3, complete 1, paired 2"},
    };
    ExpectRows(rows);
}

TEST(TraceImporter, WhatDoesNotNestGetsALane)
{
    const TraceRow rows[] = {
        {"the first lane where it nests",
            R"({"ph":"X","name":"a","tid":7,"ts":0,"dur":10},{"ph":"X","name":"b","tid":7,"ts":5,"dur":10},
               {"ph":"X","name":"c","tid":7,"ts":6,"dur":12},{"ph":"X","name":"d","tid":7,"ts":7,"dur":2},
               {"ph":"X","name":"e","tid":7,"ts":10,"dur":2},{"ph":"X","name":"f","tid":7,"ts":11,"dur":3})",
            "7: a 0-10 (d 7-9) e 10-12\n"
            "1000000000 'Thread 7 (overlap 1)': b 5-15 (f 11-14)\n"
            "1000000001 'Thread 7 (overlap 2)': c 6-18",
            "events 6, complete 6"},
        {"ends that meet, intervals of no length, equal intervals",
            R"({"ph":"X","name":"c","tid":7,"ts":5,"dur":0},{"ph":"X","name":"a","tid":7,"ts":0,"dur":5},
               {"ph":"X","name":"b","tid":7,"ts":5,"dur":5},{"ph":"X","name":"d","tid":7,"ts":5,"dur":0},
               {"ph":"X","name":"e","tid":7,"ts":5,"dur":5},{"ph":"X","name":"f","tid":7,"ts":10,"dur":0})",
            "7: a 0-5 b 5-10 (e 5-10 (c 5-5 d 5-5)) f 10-10", "events 6, complete 6"},
        {"named threads", R"({"ph":"M","name":"thread_name","pid":1,"tid":7,"args":{"name":"main"}},
               {"ph":"X","name":"a","pid":1,"tid":7,"ts":0,"dur":5},{"ph":"X","name":"b","pid":1,"tid":7,"ts":3,"dur":5})",
            "7 'main': a 0-5\n1000000000 'main (overlap 1)': b 3-8", "events 3, complete 2, metadata 1"},
        {"asynchronous operations by category, id and name",
            R"({"ph":"b","cat":"net","id":"0x1","name":"get","pid":1,"tid":7,"ts":0},
               {"ph":"b","cat":"net","id":"0x2","name":"get","pid":1,"tid":8,"ts":1},
               {"ph":"b","cat":"net","id":"0x2","name":"dns","pid":1,"tid":8,"ts":2,"args":{"host":"x"}},
               {"ph":"e","cat":"net","id":"0x2","name":"dns","pid":1,"tid":8,"ts":3},
               {"ph":"e","cat":"net","id":"0x1","name":"get","pid":1,"tid":7,"ts":4},
               {"ph":"e","cat":"net","id":"0x2","name":"get","pid":1,"tid":7,"ts":5},
               {"ph":"b","cat":"disk","id":1,"name":"read","pid":1,"ts":6},{"ph":"e","cat":"disk","id":"1","pid":1,"ts":7},
               {"ph":"e","cat":"net","id":1,"name":"read","pid":1,"ts":8},{"ph":"b","cat":"net","name":"x","pid":1,"ts":8})",
            "1000000001 'async: net': get 0-4 (dns 2-3 [host: x])\n"
            "1000000002 'async: net (overlap 1)': get 1-5\n"
            "1000000000 'async: disk': read 6-7",
            "events 10, paired 8, rejected 1, unmatched 1"},
        {"a local id counts within its process, others across processes",
            R"({"ph":"b","id2":{"local":"1"},"name":"a","pid":1,"ts":0},{"ph":"e","id2":{"local":"1"},"name":"a","pid":2,"ts":1},
               {"ph":"b","id2":{"global":"1"},"name":"b","pid":1,"ts":2},{"ph":"e","id2":{"global":"1"},"name":"b","pid":2,"ts":3})",
            "1000000000 'Process 1 / async: (no category)': b 0-1", "events 4, paired 2, unfinished 1, unmatched 1"},
    };
    ExpectRows(rows);
}

TEST(TraceImporter, ThreadsGetIdsAndNames)
{
    const TraceRow rows[] = {
        {"numbers, texts and missing ids",
            R"({"ph":"X","name":"a","ts":0,"dur":1},{"ph":"X","name":"b","pid":3,"ts":2,"dur":1},
               {"ph":"X","name":"c","pid":3,"tid":"3","ts":4,"dur":1},{"ph":"X","name":"d","pid":"3","tid":"worker","ts":6,"dur":1},
               {"ph":"X","name":"e","pid":3,"tid":3000000000,"ts":8,"dur":1},{"ph":"X","name":"f","pid":3,"tid":-2,"ts":10,"dur":1})",
            "0 'Process 0 / Thread 0': a 0-1\n"
            "3 'Process 3 / Thread 3': b 2-3 c 4-5\n"
            "1000000001 'Process 3 / worker': d 6-7\n"
            "1000000000 'Process 3 / Thread 3000000000': e 8-9\n"
            "-2 'Process 3 / Thread -2': f 10-11",
            "events 6, complete 6"},
        {"an id that two processes have stays with the smaller process",
            R"({"ph":"M","name":"process_name","pid":9,"args":{"name":"late"}},
               {"ph":"X","name":"a","pid":9,"tid":1,"ts":0,"dur":1},{"ph":"X","name":"b","pid":2,"tid":1,"ts":2,"dur":1},
               {"ph":"M","name":"thread_name","pid":9,"tid":1,"args":{"name":"main"}},
               {"ph":"M","name":"thread_name","pid":9,"tid":1,"args":{"name":7}},{"ph":"M","name":"other","args":{"name":"x"}})",
            "1000000000 'late / main': a 0-1\n1 'Process 2 / Thread 1': b 2-3", "events 6, complete 2, metadata 4"},
        {"a thread without a name in a process by itself",
            R"({"ph":"X","name":"a","pid":9,"tid":1,"ts":0,"dur":1},{"ph":"X","name":"b","pid":9,"tid":"io","ts":1,"dur":1},
               {"ph":"C","pid":10,"ts":0})",
            "1: a 0-1\n1000000000 'io': b 1-2", "events 3, complete 2, skipped 1"},
    };
    ExpectRows(rows);
}

TEST(TraceImporter, ChoosesTheProcess)
{
    const std::string text = R"([{"ph":"X","name":"a","pid":5,"tid":1,"ts":10,"dur":1},
        {"ph":"X","name":"b","pid":4,"tid":1,"ts":20,"dur":1},{"ph":"X","name":"c","pid":5,"tid":2,"ts":30,"dur":1},
        {"ph":"b","cat":"n","id":1,"name":"d","pid":4,"ts":40},{"ph":"e","cat":"n","id":1,"name":"d","pid":5,"ts":50}])";
    {
        const ImportRun run = gRunImport(text);
        EXPECT_EQ(run.mReport.mProcessID, 4) << "two intervals each: the smaller id";
        EXPECT_EQ(run.mSink.mInfo.mProcessID, 4);
        EXPECT_EQ(run.mReport.mNumProcesses, 2u);
        EXPECT_EQ(run.mReport.mNumThreads, 4u);
        EXPECT_EQ(run.mReport.mFirstTimeNs, 10'000);
        EXPECT_EQ(run.mReport.mLastTimeNs, 50'000);
    }
    ImportOptions options;
    options.mProcess = "5";
    {
        const ImportRun run = gRunImport(text, options);
        EXPECT_EQ(run.mThreads, "1 'Process 5 / Thread 1': a 0-1\n2 'Process 5 / Thread 2': c 20-21");
        EXPECT_EQ(gDescribeCounts(run.mReport), "events 5, complete 2, others 3");
        EXPECT_EQ(run.mReport.mProcessID, 5);
    }
    options.mProcess = "6";
    EXPECT_EQ(gRunImport(text, options).GetError(), "no event of process 6; the trace has processes 4, 5");
}

TEST(TraceImporter, ContextIsTheArguments)
{
    const std::pair<std::string, std::string> rows[] = {
        {R"({})", ""},
        {R"(null)", ""},
        {R"("plain")", "plain"},
        {R"([1, 2])", "[1,2]"},
        {R"({"detail":"std::vector<int>"})", "std::vector<int>"},
        {R"({"a":1.50,"detail":"x","b":true,"c":null})", "detail: x, a: 1.50, b: true, c: null"},
        {R"({"o": { "k" : [ 1 , "t w\n\u00e9" , {} ] }, "s":"q\"\u00e9\ud83d\ude00"})",
            "o: {\"k\":[1,\"t w\\n\\u00e9\",{}]}, s: q\"\xC3\xA9\xF0\x9F\x98\x80"},
        {R"({"a":"\ud83d","b":"\ude00\ud83d\n\ud83dx"})",
            "a: \xEF\xBF\xBD, b: \xEF\xBF\xBD\xEF\xBF\xBD\n\xEF\xBF\xBDx"},
        {"{\"a\":\"b\xFF\xC3(\xE2\x82\"}", "a: b\xEF\xBF\xBD\xEF\xBF\xBD(\xEF\xBF\xBD\xEF\xBF\xBD"},
        {R"({"detail":")" + std::string(5000, 'x') + R"("})", std::string(4096, 'x')},
        // 3 bytes and 2 a character: the last one that fits ends at 4095.
        {R"({"a":")" +
                [] {
                    std::string text;
                    for (int i = 0; i < 3000; ++i)
                    {
                        text += "\xC3\xA9";
                    }
                    return text;
                }() +
                R"("})",
            "a: " +
                [] {
                    std::string text;
                    for (int i = 0; i < 2046; ++i)
                    {
                        text += "\xC3\xA9";
                    }
                    return text;
                }()},
    };
    for (const auto& [arguments, context] : rows)
    {
        const ImportRun run =
            gRunImport("[{\"ph\":\"X\",\"name\":\"n\",\"tid\":1,\"ts\":0,\"dur\":1,\"args\":" + arguments + "}]");
        EXPECT_EQ(run.mThreads, "1: n 0-1" + (context.empty() ? "" : " [" + context + "]")) << arguments;
    }
    // A name is made valid in the same way.
    EXPECT_EQ(gRunImport("[{\"ph\":\"X\",\"name\":\"n\xE9\\u0041\",\"tid\":1,\"ts\":0,\"dur\":1}]").mThreads,
        "1: n\xEF\xBF\xBD"
        "A 0-1");
}

TEST(TraceImporter, EventsComeInOrder)
{
    const ImportRun run = gRunImport(R"([{"ph":"X","name":"a","pid":1,"tid":2,"ts":0,"dur":10},
        {"ph":"X","name":"b","pid":1,"tid":1,"ts":10,"dur":0},{"ph":"X","name":"c","pid":1,"tid":1,"ts":5,"dur":5},
        {"ph":"X","name":"d","pid":1,"tid":2,"ts":10,"dur":2},
        {"ph":"M","name":"thread_name","pid":1,"tid":1,"args":{"name":"t"}}])");
    EXPECT_EQ(run.mSink.GetEvents(), "2+ 2<a 1+ 1=t 1<c 1> 1<b 1> 1- 2> 2<d 2> 2-");
}

TEST(TraceImporter, ObjectFormHasAnythingAroundTheEvents)
{
    const std::string events = R"("traceEvents":[{"ph":"X","name":"a","tid":1,"ts":0,"dur":1}])";
    const std::string deep(200'000, '[');
    const std::string deepEnd(200'000, ']');
    for (const std::string& text : {
             "{" + events + "}",
             "\xEF\xBB\xBF \n{ \"a\" : {\"b\":[1,{\"traceEvents\":0}]}, " + events + " , \"z\":[ ] }\n ",
             "{\"deep\":" + deep + deepEnd + "," + events + ",\"more\":" + deep + deepEnd + "}",
             "{\"traceEvents\":[]," + events + "}",
         })
    {
        const ImportRun run = gRunImport(text);
        EXPECT_EQ(run.mThreads, "1: a 0-1") << text.substr(0, 80);
        EXPECT_TRUE(run.mReport.mDamage.empty()) << run.mReport.mDamage.front().ToString();
        EXPECT_EQ(run.mReport.mTextSize, text.size());
    }
}

TEST(TraceImporter, DamageIsReportedAndWholeEventsAreKept)
{
    const std::string event = R"({"ph":"X","name":"a","tid":1,"ts":0,"dur":1})";
    ASSERT_EQ(event.size(), 44u);
    struct Row
    {
        std::string mText;
        const char* mDamage;
    };
    const Row rows[] = {
        {"[" + event, "byte 45: the file ends without the ']' behind the events"},
        {"[" + event + ",\n", "byte 47: the file ends without the ']' behind the events"},
        {"[" + event + ", ]", "byte 45: a comma stands in front of the closing ']'"},
        {"[" + event + ",{\"ph\":\"X\"", "byte 55: the file ends within the event that begins at byte 46"},
        {"[" + event + "]]", "byte 46: there is text behind the end of the trace"},
        {"[" + event + event + "]", "byte 45: ',' or ']' is expected"},
        {"[" + event + ",{\"ts\":NaN}]", "byte 52: a digit is expected"},
        {"[" + event + ",{\"ts\":01}]", "byte 53: a number starts with a needless 0"},
        {"[" + event + ",{\"ts\":1.}]", "byte 54: a digit is expected"},
        {"[" + event + ",{\"a\":tru}]", "byte 54: a value is expected"},
        {"[" + event + ",{\"a\":\"\\x\"}]", "byte 53: there is no such escape in a string"},
        {"[" + event + ",{\"name\":\"\\u12g4\"}]", "byte 59: four hexadecimal digits are expected"},
        {"[" + event + ",{\"a\" 1}]", "byte 51: ':' is expected"},
        {"[" + event + ",{a:1}]", "byte 47: a string is expected"},
        {"[" + event + ",{\"a\":[1,]}]", "byte 54: a value is expected"},
        {"[" + event + ",{\"a\":{1:2}}]", "byte 52: a member's name is expected"},
        {"{\"traceEvents\":[" + event + "]", "byte 61: the file ends within the object that holds the events"},
        {"{\"traceEvents\":[" + event + "],}", "byte 61: a comma stands in front of the closing '}'"},
        {"{\"traceEvents\":[" + event + "],\"b\":?}", "byte 66: a value is expected"},
    };
    for (const Row& row : rows)
    {
        const ImportRun run = gRunImport(row.mText);
        EXPECT_EQ(run.mThreads, "1: a 0-1") << row.mText;
        ASSERT_EQ(run.mReport.mDamage.size(), 1u) << row.mText;
        EXPECT_EQ(run.mReport.mDamage.front().ToString(), row.mDamage) << row.mText;
    }
}

TEST(TraceImporter, OtherFilesAreRefused)
{
    const std::pair<std::string, const char*> rows[] = {
        {"", "not a Chrome trace: byte 0: the file is empty"},
        {" \n", "not a Chrome trace: byte 2: the file ends before any event"},
        {"\x7F"
         "ELF\x02\x01\x01",
            "not a Chrome trace: byte 0: neither an object nor an array begins here"},
        {"{\"a\":[1]}", "not a Chrome trace: byte 9: the object has no member \"traceEvents\""},
        {"{\"a\":[1]", "not a Chrome trace: byte 8: the file ends before any event"},
        {"{\"a\":[1,,2]}", "not a Chrome trace: byte 8: a value is expected"},
        {"{\"traceEvents\":{}}", "not a Chrome trace: byte 15: \"traceEvents\" is not an array"},
        {"[]", "the trace has no interval to import: 0 entries"},
        {"[1,{\"ph\":\"X\"}]",
            "the trace has no interval to import: 2 entries, 1 times the entry is not an object, 1 times the event has "
            "no time stamp"},
        {"[{\"ph\":\"X\",", "no whole event: byte 11: the file ends within the event that begins at byte 1"},
        {std::string("\x1F\x8B\x08\x00", 4),
            "not a Chrome trace: byte 4 (byte 0 of the decompressed text): the compressed data ends too early"},
    };
    for (const auto& [text, error] : rows)
    {
        const ImportRun run = gRunImport(text);
        EXPECT_EQ(run.GetError(), error);
        EXPECT_EQ(run.mSink.mNumEvents, 0u);
    }
}

/// Events of several threads, processes and kinds at distinct times, and what does not depend on time behind them.
std::vector<std::string> MakeEvents(std::mt19937_64& random, std::vector<std::string>& metadata)
{
    std::vector<std::string> events;
    std::int64_t time = 1'000;
    const auto next = [&time, &random] {
        time += 1 + static_cast<std::int64_t>(random() % 50);
        return time;
    };
    for (int i = 0; i < 120; ++i)
    {
        const std::string head =
            Utility::gFormat(R"("pid":%d,"tid":%d,"name":"n%d","cat":"c%d")", static_cast<int>(random() % 3),
                static_cast<int>(random() % 3), static_cast<int>(random() % 4), static_cast<int>(random() % 2));
        const char* const format = R"({"ph":"%c","ts":%lld.%03d,%s,"id":%d,"dur":%d,"args":{"i":%d}})";
        const auto make = [&](char phase) {
            return Utility::gFormat(format, phase, static_cast<long long>(next()), i, head.c_str(),
                static_cast<int>(random() % 3), static_cast<int>(random() % 400), i);
        };
        events.push_back(make("XBEbeXXXCi"[random() % 10]));
    }
    for (int i = 0; i < 3; ++i)
    {
        metadata.push_back(
            Utility::gFormat(R"({"ph":"M","name":"thread_name","pid":%d,"tid":1,"args":{"name":"thread %d"}})", i, i));
    }
    return events;
}

std::string Join(const std::vector<std::string>& events)
{
    std::string text = "[";
    for (const std::string& event : events)
    {
        text += (text.size() > 1 ? ",\n" : "") + event;
    }
    return text + "]";
}

TEST(TraceImporter, OrderOfTheFileDoesNotMatter)
{
    std::mt19937_64 random(99);
    for (int round = 0; round < 20; ++round)
    {
        std::vector<std::string> metadata;
        std::vector<std::string> events = MakeEvents(random, metadata);
        events.insert(events.end(), metadata.begin(), metadata.end());
        const ImportRun original = gRunImport(Join(events));
        ASSERT_TRUE(original.mIsSuccess) << original.GetError();
        for (int i = 0; i < 5; ++i)
        {
            std::shuffle(events.begin(), events.end(), random);
            const ImportRun shuffled = gRunImport(Join(events));
            ASSERT_EQ(shuffled.mSink.GetEvents(), original.mSink.GetEvents());
            ASSERT_EQ(shuffled.mThreads, original.mThreads);
            ASSERT_EQ(gDescribeCounts(shuffled.mReport), gDescribeCounts(original.mReport));
            ASSERT_EQ(shuffled.mReport.mProcessID, original.mReport.mProcessID);
        }
    }
}

TEST(TraceImporter, AnyPrefixKeepsItsWholeEvents)
{
    std::mt19937_64 random(5);
    std::vector<std::string> ignored;
    std::vector<std::string> events = MakeEvents(random, ignored);
    events.resize(12);
    const std::string text = "{\"a\":[true,null],\"traceEvents\":" + Join(events) + ",\"b\":\"c\"}";
    std::vector<std::size_t> ends;
    for (const std::string& event : events)
    {
        ends.push_back(text.find(event) + event.size());
    }
    for (std::size_t size = 0; size < text.size(); ++size)
    {
        const ImportRun run = gRunImport(text.substr(0, size));
        const auto whole = static_cast<std::uint64_t>(
            std::count_if(ends.begin(), ends.end(), [size](std::size_t end) { return end <= size; }));
        ASSERT_EQ(run.mReport.mNumEvents, whole) << size;
        if (run.mIsSuccess)
        {
            ASSERT_EQ(run.mReport.mDamage.size(), 1u);
            ASSERT_EQ(run.mReport.mDamage.front().mTextOffset, size);
        }
        else
        {
            ASSERT_THAT(run.GetError(), HasSubstr("byte " + std::to_string(size))) << size;
        }
    }
}

TEST(TraceImporter, DamagedCompressedDataKeepsWhatCameBefore)
{
    std::mt19937_64 random(6);
    std::vector<std::string> ignored;
    std::string text = "[";
    while (text.size() < 600'000)
    {
        const std::string events = Join(MakeEvents(random, ignored));
        text += (text.size() > 1 ? "," : "") + events.substr(1, events.size() - 2);
    }
    text += "]";
    const ImportRun whole = gRunImport(text);
    ASSERT_TRUE(whole.mIsSuccess);

    for (const bool isGzip : {true, false})
    {
        const auto compress = [isGzip](std::string_view part) {
            return isGzip ? gCompressGzip(part) : gCompressZstd(part);
        };
        const std::string first = compress(std::string_view(text).substr(0, 250'000));
        const std::string compressed = first + compress(std::string_view(text).substr(250'000));
        EXPECT_EQ(gRunImport(compressed).mThreads, whole.mThreads);

        const ImportRun cut = gRunImport(compressed.substr(0, compressed.size() - 9));
        ASSERT_TRUE(cut.mIsSuccess);
        ASSERT_EQ(cut.mReport.mDamage.size(), 1u);
        EXPECT_EQ(cut.mReport.mDamage.front().mReason, "the compressed data ends too early");
        EXPECT_EQ(cut.mReport.mDamage.front().mFileOffset, compressed.size() - 9);
        EXPECT_GT(cut.mReport.mNumEvents, whole.mReport.mNumEvents / 2);

        std::string garbage = first + "garbage that is no member";
        const ImportRun behind = gRunImport(garbage);
        ASSERT_TRUE(behind.mIsSuccess);
        ASSERT_EQ(behind.mReport.mDamage.size(), 1u);
        EXPECT_THAT(behind.mReport.mDamage.front().mReason,
            HasSubstr(isGzip ? "gzip data is damaged" : "zstd data is damaged"));
        EXPECT_EQ(behind.mReport.mDamage.front().mTextOffset, 250'000u);

        // A fault of the JSON is told apart, with its place in the text.
        const ImportRun fault = gRunImport(compress("[" + text.substr(1, 1000) + "?"));
        ASSERT_FALSE(fault.mReport.mDamage.empty());
        EXPECT_GT(fault.mReport.mDamage.front().mTextOffset, 900u);
    }
}

TEST(TraceImporter, HostileNestingOnlyEndsTheReading)
{
    const std::string event = R"([{"ph":"X","name":"a","tid":1,"ts":0,"dur":1},)";
    const ImportRun open = gRunImport(event + "{\"args\":" + std::string(3'000'000, '['));
    EXPECT_EQ(open.mThreads, "1: a 0-1");
    EXPECT_EQ(open.mReport.mDamage.size(), 1u);

    std::string objects = event + "{\"x\":";
    for (int i = 0; i < 500'000; ++i)
    {
        objects += "{\"k\":";
    }
    EXPECT_EQ(gRunImport(objects).mThreads, "1: a 0-1");

    const ImportRun tooDeep = gRunImport(event + std::string(17'000'000, '['));
    ASSERT_EQ(tooDeep.mReport.mDamage.size(), 1u);
    EXPECT_THAT(tooDeep.mReport.mDamage.front().mReason, HasSubstr("too deeply"));
}

TEST(TraceImporter, LongTokensAreCut)
{
    // Longer than a window, so that it never is in memory as a whole.
    const std::string name(700'000, 'n');
    const ImportRun run =
        gRunImport("[{\"ph\":\"X\",\"name\":\"" + name + "\",\"tid\":1,\"ts\":0,\"dur\":1,\"args\":\"" + name +
                   "\"},{\"ph\":\"X\",\"name\":\"b\",\"tid\":1,\"ts\":1" + std::string(700'000, '0') + ",\"dur\":1}]");
    EXPECT_EQ(run.mThreads, "1: " + name.substr(0, 65536) + " 0-1 [" + name.substr(0, 4096) + "]");
    EXPECT_EQ(run.mReport.mNumRejected, 1u);

    // Shorter than a window, and growing when it is made valid.
    const ImportRun invalid =
        gRunImport("[{\"ph\":\"X\",\"name\":\"" + std::string(200'000, '\xFF') + "\",\"tid\":1,\"ts\":0,\"dur\":1}]");
    EXPECT_EQ(invalid.mThreads.size(), std::string_view("1:  0-1").size() + 65536 * 3);
}

TEST(TraceImporter, FailureAndCancellationEndIt)
{
    std::mt19937_64 random(1);
    std::vector<std::string> ignored;
    const std::string text = Join(MakeEvents(random, ignored));
    const TemporaryFolder directory;
    const std::string path = directory.Write("trace.json", text);

    TextSink sink;
    sink.mFailsAt = 20;
    ImportReport report;
    Utility::Result result;
    EXPECT_FALSE(gImportTrace(path, {}, sink, report, result));
    EXPECT_EQ(sink.mNumEvents, 20u);
    ASSERT_EQ(result.GetEntries().size(), 1u);
    EXPECT_EQ(result.GetEntries().front().mContext, path);

    std::atomic<bool> cancelled = false;
    ImportOptions options;
    options.mCancelled = &cancelled;
    std::uint64_t calls = 0;
    options.mProgress = [&](const ImportProgress& progress) {
        EXPECT_LE(progress.mDone, progress.mTotal);
        ++calls;
        cancelled = progress.mPhase == ImportProgress::EPhase::Reading;
    };
    const ImportRun run = gRunImport(text, options);
    EXPECT_TRUE(run.mReport.mIsCancelled);
    EXPECT_FALSE(run.mResult.HasErrors());
    EXPECT_EQ(calls, 1u);
    EXPECT_EQ(run.mSink.mNumEvents, 0u);
}
}
}
