#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "Utility/TemporaryFolder.h"
#include "tests/support/RunProgram.h"

namespace
{

using Tests::gRunQuarkspindle;
using Tests::ProgramResult;

/// Two threads; "work" occurs three times on thread 7 (once recursively) and once on thread 8, in microseconds.
constexpr const char* cTrace = R"({"displayTimeUnit":"ns","traceEvents":[
{"ph":"M","pid":7,"tid":7,"name":"thread_name","args":{"name":"main"}},
{"ph":"X","pid":7,"tid":7,"ts":1000,"dur":500,"name":"work","args":{"detail":"first, \"quoted\""}},
{"ph":"X","pid":7,"tid":7,"ts":1100,"dur":100.125,"name":"inner"},
{"ph":"X","pid":7,"tid":7,"ts":2000,"dur":300,"name":"work"},
{"ph":"X","pid":7,"tid":7,"ts":2010,"dur":200,"name":"work"},
{"ph":"X","pid":7,"tid":7,"ts":3000,"dur":0.5,"name":"work","args":{"key":"value"}},
{"ph":"X","pid":7,"tid":8,"ts":1500,"dur":40,"name":"work"},
{"ph":"i","pid":7,"tid":8,"ts":1600,"name":"instant"}
]})";

std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class CommandLineTest : public testing::Test
{
protected:
    /// The trace's capture, beside it.
    std::string Import(const std::string& content = cTrace)
    {
        const std::string trace = mDirectory.Write("trace.json", content);
        const ProgramResult imported = gRunQuarkspindle({"import", trace, "--force"});
        EXPECT_EQ(imported.ExitCode, 0) << imported.Errors;
        return mDirectory / "trace";
    }

    TemporaryFolder mDirectory;
};

TEST_F(CommandLineTest, ImportSaysWhereTheCaptureIsAndWhatWasKept)
{
    const std::string trace = mDirectory.Write("trace.json", cTrace);
    const ProgramResult imported = gRunQuarkspindle({"import", trace});
    ASSERT_EQ(imported.ExitCode, 0) << imported.Errors;
    EXPECT_NE(imported.Output.find(mDirectory / "trace"), std::string::npos) << imported.Output;
    EXPECT_NE(imported.Output.find("8 events"), std::string::npos) << imported.Output;
    EXPECT_NE(imported.Output.find("6 intervals on 2 threads of 1 process"), std::string::npos) << imported.Output;
    EXPECT_NE(imported.Output.find("of phase \"i\""), std::string::npos) << imported.Output;
    EXPECT_EQ(imported.Errors, "");
    EXPECT_TRUE(std::filesystem::exists(mDirectory / "trace/trace.session"));
}

TEST_F(CommandLineTest, CaptureIsFoundByEveryNameOfIt)
{
    const std::string capture = Import();
    const std::string names[] = {capture, capture + "/trace.session", mDirectory / "trace.json"};
    for (const std::string& name : names)
    {
        const ProgramResult info = gRunQuarkspindle({"info", name});
        EXPECT_EQ(info.ExitCode, 0) << name << info.Errors;
        EXPECT_NE(info.Output.find("process   7 (64 bit)"), std::string::npos) << info.Output;
        EXPECT_NE(info.Output.find("main"), std::string::npos) << info.Output;
    }
    const ProgramResult here = gRunQuarkspindle({"info", "."}, capture);
    EXPECT_EQ(here.ExitCode, 0) << here.Errors;
}

TEST_F(CommandLineTest, InfoAsJsonIsComplete)
{
    const ProgramResult info = gRunQuarkspindle({"info", Import(), "--format", "json"});
    rapidjson::Document json;
    ASSERT_FALSE(json.Parse(info.Output.c_str()).HasParseError()) << info.Output;
    EXPECT_EQ(json["process_id"].GetInt(), 7);
    EXPECT_EQ(json["start_ms"].GetDouble(), 0.0);
    EXPECT_EQ(json["end_ms"].GetDouble(), 2.0005);
    EXPECT_EQ(json["chunks"].GetInt(), 1);
    ASSERT_EQ(json["threads"].Size(), 2u);
    EXPECT_STREQ(json["threads"][0]["name"].GetString(), "main");
}

TEST_F(CommandLineTest, ListNamesEveryChartOnce)
{
    const std::string capture = Import();
    const ProgramResult all = gRunQuarkspindle({"list", capture, "--format", "csv"});
    EXPECT_EQ(SplitLines(all.Output),
        (std::vector<std::string>{"thread_id,thread_name,event", "7,main,work", "7,main,inner", "8,,work"}));
    const ProgramResult some = gRunQuarkspindle({"list", capture, "--format", "csv", "--match", "INN"});
    EXPECT_EQ(SplitLines(some.Output), (std::vector<std::string>{"thread_id,thread_name,event", "7,main,inner"}));
}

TEST_F(CommandLineTest, ChartAsCsvGivesExactTimesOfTheBusiestThread)
{
    const std::string capture = Import();
    const ProgramResult bars = gRunQuarkspindle({"chart", capture, "--event", "work", "--format", "csv"});
    EXPECT_EQ(bars.Errors, "");
    EXPECT_EQ(SplitLines(bars.Output), (std::vector<std::string>{
                                           "index,start_ms,end_ms,duration_ms,context",
                                           "0,0,0.5,0.5,\"first, \"\"quoted\"\"\"",
                                           "1,1,1.3,0.30000000000000004,",
                                           "2,2,2.0005000000000002,0.00050000000000016698,key: value",
                                       }));
    const ProgramResult level =
        gRunQuarkspindle({"chart", capture, "--event", "work", "--format", "csv", "--level", "1", "--thread", "7"});
    EXPECT_EQ(SplitLines(level.Output),
        (std::vector<std::string>{
            "index,start_ms,end_ms,minimum_ms,average_ms,maximum_ms,occurrences",
            "0,0,1.3,0.30000000000000004,0.40000000000000002,0.5,2",
            "1,2,2.0005000000000002,0.00050000000000016698,0.00050000000000016698,0.00050000000000016698,1",
        }));
    const ProgramResult other =
        gRunQuarkspindle({"chart", capture, "--event", "work", "--format", "csv", "--thread", "8"});
    EXPECT_EQ(SplitLines(other.Output).size(), 2u);
}

TEST_F(CommandLineTest, ChartForPeopleShowsStatisticsAndTheSlowest)
{
    const ProgramResult chart = gRunQuarkspindle({"chart", Import(), "--event", "work"});
    for (const char* part : {"count     3\n", "median    300.000 µs\n", "maximum   500.000 µs\n", "#0", "█", "quoted"})
        EXPECT_NE(chart.Output.find(part), std::string::npos) << part << "\n" << chart.Output;
}

TEST_F(CommandLineTest, ChartAsJsonCarriesStatistics)
{
    const ProgramResult chart = gRunQuarkspindle({"chart", Import(), "--event", "work", "--format", "json"});
    rapidjson::Document json;
    ASSERT_FALSE(json.Parse(chart.Output.c_str()).HasParseError()) << chart.Output;
    EXPECT_EQ(json["statistics"]["count"].GetInt(), 3);
    EXPECT_EQ(json["statistics"]["maximum_ms"].GetDouble(), 0.5);
    EXPECT_EQ(json["bars"].Size(), 3u);
}

TEST_F(CommandLineTest, SavedChartIsThereAgain)
{
    const std::string capture = Import();
    const auto size = std::filesystem::file_size(capture + "/BarChart/Model.dat");
    const ProgramResult saved = gRunQuarkspindle({"chart", capture, "--event", "work", "--format", "csv", "--save"});
    ASSERT_EQ(saved.ExitCode, 0) << saved.Errors;
    EXPECT_GT(std::filesystem::file_size(capture + "/BarChart/Model.dat"), size);
    const ProgramResult again = gRunQuarkspindle({"chart", capture, "--event", "work", "--format", "csv"});
    EXPECT_EQ(again.Output, saved.Output);
}

TEST_F(CommandLineTest, LostModelIsRebuiltFromTheEvents)
{
    const std::string capture = Import();
    std::filesystem::remove_all(capture + "/BarChart");
    const ProgramResult list = gRunQuarkspindle({"list", capture, "--format", "csv"});
    EXPECT_EQ(list.ExitCode, 0) << list.Errors;
    EXPECT_EQ(SplitLines(list.Output).size(), 4u);
    EXPECT_TRUE(std::filesystem::exists(capture + "/BarChart/Model.dat"));
}

TEST_F(CommandLineTest, BadInputEndsWithOneLineAndCodeOne)
{
    const std::string capture = Import();
    mDirectory.Write("empty.json", "");
    mDirectory.Write("text.json", "Hello, world.\n");
    mDirectory.Write("other.json", "{\"a\": 1}");
    mDirectory.Write("broken.session", "not a session");
    struct Row
    {
        std::vector<std::string> Arguments;
        const char* Reason;
    };
    const Row rows[] = {
        {{"import", mDirectory / "none.json"}, "none.json"},
        {{"import", mDirectory / "empty.json"}, "empty.json"},
        {{"import", mDirectory / "text.json"}, "byte 0"},
        {{"import", mDirectory / "other.json"}, "traceEvents"},
        {{"import", mDirectory / "trace.json"}, "trace"},
        {{"info", mDirectory / "nowhere"}, "nowhere: There is no such file or directory"},
        {{"info", mDirectory.GetPath()}, "broken.session"},
        {{"info", mDirectory / "broken.session"}, "not a Quarkspindle buffer"},
        {{"info", mDirectory / "text.json"}, "run 'quarkspindle import' on it first"},
        {{"chart", capture, "--event", "wor"}, "did you mean \"work\"?"},
        {{"chart", capture, "--event", "inner", "--thread", "8"}, "does not occur on thread 8"},
    };
    for (const Row& row : rows)
    {
        const ProgramResult result = gRunQuarkspindle(row.Arguments);
        EXPECT_EQ(result.ExitCode, 1) << row.Reason;
        EXPECT_EQ(result.Output, "") << row.Reason;
        EXPECT_NE(result.Errors.find(row.Reason), std::string::npos) << result.Errors;
        EXPECT_EQ(SplitLines(result.Errors).size(), 1u) << result.Errors;
    }
}

TEST_F(CommandLineTest, VerifyFindsEveryDamagedFile)
{
    struct Row
    {
        const char* File;
        std::ptrdiff_t Offset; ///< of the byte that is changed; negative: counted from the end
        const char* Reason;
    };
    const Row rows[] = {
        {"trace/trace.session", 100, "CRC check failed"},
        {"trace/events.index", -1, "CRC check failed"},
        {"trace/events.dat", 0, "Chunk 1 of 1, at byte 0"},
        {"trace/events.dat", -18, "cannot be read"},
        {"trace/events.dat", -17, "the index says"},
        {"trace/BarChart/Model.dat", 0, "not a Quarkspindle buffer"},
    };
    for (const Row& row : rows)
    {
        const std::string capture = Import();
        std::string content = mDirectory.Read(row.File);
        const auto size = static_cast<std::ptrdiff_t>(content.size());
        content[static_cast<std::size_t>(row.Offset < 0 ? size + row.Offset : row.Offset)] ^= 0x40;
        mDirectory.Write(row.File, content);

        const ProgramResult verified = gRunQuarkspindle({"verify", capture});
        EXPECT_EQ(verified.ExitCode, 1) << row.File;
        EXPECT_NE(verified.Output.find("DAMAGED " + (mDirectory / row.File)), std::string::npos) << verified.Output;
        EXPECT_NE(verified.Output.find(row.Reason), std::string::npos) << verified.Output;
    }
    const std::string capture = Import();
    EXPECT_EQ(gRunQuarkspindle({"verify", capture}).ExitCode, 0);
    std::filesystem::resize_file(capture + "/events.dat", 30);
    const ProgramResult verified = gRunQuarkspindle({"verify", capture});
    EXPECT_EQ(verified.ExitCode, 1);
    EXPECT_NE(verified.Output.find("lacks 1 chunk"), std::string::npos) << verified.Output;
}

TEST_F(CommandLineTest, RepairMakesLostAndDamagedFilesAnew)
{
    const auto damage = [](std::string& content) {
        content[content.size() / 2] ^= 0x10;
    };
    const auto remove = [](std::string& content) {
        content.clear();
    };
    const struct
    {
        const char* File;
        std::function<void(std::string&)> Change;
    } rows[] = {
        {"trace/events.index", damage},
        {"trace/events.index", remove},
        {"trace/trace.session", damage},
        {"trace/trace.session", remove},
        {"trace/BarChart/Model.dat", damage},
        {"trace/BarChart/Model.dat", remove},
    };
    for (const auto& row : rows)
    {
        const std::string capture = Import();
        const std::vector<std::string> commands[] = {{"info", capture, "--format", "json"},
            {"list", capture, "--format", "csv"}, {"chart", capture, "--event", "work", "--format", "csv"}};
        std::vector<std::string> before;
        for (const std::vector<std::string>& command : commands)
            before.push_back(gRunQuarkspindle(command).Output);
        std::string content = mDirectory.Read(row.File);
        row.Change(content);
        if (content.empty())
            std::filesystem::remove(mDirectory / row.File);
        else
            mDirectory.Write(row.File, content);

        const ProgramResult repaired = gRunQuarkspindle({"repair", capture});
        EXPECT_EQ(repaired.ExitCode, 0) << row.File << repaired.Errors;
        EXPECT_EQ(gRunQuarkspindle({"verify", capture}).ExitCode, 0) << row.File;
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_EQ(gRunQuarkspindle(commands[i]).Output, before[i]) << row.File;
        const ProgramResult again = gRunQuarkspindle({"repair", capture});
        EXPECT_EQ(again.ExitCode, 0) << again.Errors;
        EXPECT_EQ(again.Output.find("mended"), std::string::npos) << again.Output;
    }
    EXPECT_EQ(gRunQuarkspindle({"repair", mDirectory.GetPath()}).ExitCode, 1) << "no capture";
}

TEST_F(CommandLineTest, RepairLeavesDamagedEventsOutOnlyOnRequest)
{
    const std::string capture = Import();
    ASSERT_EQ(gRunQuarkspindle({"chart", capture, "--event", "work", "--save"}).ExitCode, 0);
    std::string events = mDirectory.Read("trace/events.dat");
    events[0] ^= 0x40;
    mDirectory.Write("trace/events.dat", events);
    const auto readAll = [&] {
        std::string all;
        for (const char* file :
            {"trace/trace.session", "trace/events.dat", "trace/events.index", "trace/BarChart/Model.dat"})
            all += mDirectory.Read(file);
        return all;
    };
    const std::string before = readAll();

    const ProgramResult refused = gRunQuarkspindle({"repair", capture, "--format", "json"});
    EXPECT_EQ(refused.ExitCode, 1);
    EXPECT_NE(refused.Errors.find("--drop-damaged"), std::string::npos) << refused.Errors;
    rapidjson::Document json;
    ASSERT_FALSE(json.Parse(refused.Output.c_str()).HasParseError()) << refused.Output;
    EXPECT_EQ(json["damages"].GetInt(), 1);
    ASSERT_EQ(json["findings"].Size(), 1u);
    EXPECT_STREQ(json["findings"][0]["state"].GetString(), "damaged");
    EXPECT_EQ(std::string{json["findings"][0]["text"].GetString()}.rfind("Chunk 1 of 1, at byte 0: ", 0), 0u);
    EXPECT_EQ(readAll(), before);
    EXPECT_EQ(gRunQuarkspindle({"verify", capture, "--format", "json"}).ExitCode, 1);

    const ProgramResult repaired = gRunQuarkspindle({"repair", capture, "--drop-damaged"});
    EXPECT_EQ(repaired.ExitCode, 0) << repaired.Errors;
    EXPECT_NE(
        repaired.Output.find("LOST    " + (mDirectory / "trace/events.dat") + ": Chunk 1 of 1"), std::string::npos)
        << repaired.Output;
    EXPECT_EQ(gRunQuarkspindle({"verify", capture}).ExitCode, 0);
    EXPECT_EQ(SplitLines(gRunQuarkspindle({"list", capture, "--format", "csv"}).Output).size(), 1u)
        << "nothing of what was left out is shown";
}

TEST_F(CommandLineTest, PartOfACaptureIsShownButNeverKept)
{
    const std::string capture = Import();
    const std::string whole = mDirectory.Read("trace/events.dat");
    const std::string rows[] = {whole.substr(0, whole.size() - 1), "\x7F" + whole.substr(1)};
    for (const std::string& events : rows)
    {
        mDirectory.Write("trace/events.dat", events);
        std::filesystem::remove_all(capture + "/BarChart");
        for (const std::vector<std::string>& command : {std::vector<std::string>{"list", capture},
                 std::vector<std::string>{"chart", capture, "--event", "work", "--save"}})
        {
            const ProgramResult result = gRunQuarkspindle(command);
            EXPECT_EQ(result.ExitCode, 1) << result.Output;
            EXPECT_NE(result.Errors.find("events.dat"), std::string::npos) << result.Errors;
        }
        mDirectory.Write("trace/events.dat", whole);
        const ProgramResult list = gRunQuarkspindle({"list", capture, "--format", "csv"});
        EXPECT_EQ(list.ExitCode, 0) << list.Errors;
        EXPECT_EQ(SplitLines(list.Output).size(), 4u) << "the capture is as it was";
        EXPECT_EQ(gRunQuarkspindle({"verify", capture}).ExitCode, 0);
    }
}

TEST_F(CommandLineTest, CaptureThatCannotBeWrittenCanBeViewed)
{
    const std::string capture = Import();
    std::filesystem::remove_all(capture + "/BarChart");
    mDirectory.Write("trace/BarChart", "in the way");
    const ProgramResult chart = gRunQuarkspindle({"chart", capture, "--event", "work", "--format", "csv"});
    EXPECT_EQ(chart.ExitCode, 0) << chart.Errors;
    EXPECT_EQ(SplitLines(chart.Output).size(), 4u);
    EXPECT_NE(chart.Errors.find("BarChart"), std::string::npos);
}

TEST_F(CommandLineTest, WrongUsageEndsWithCodeTwo)
{
    const std::vector<std::string> rows[] = {
        {"unknown"},
        {"import"},
        {"snapshot", "capture", "--event", "e"},
        {"snapshot", "capture", "--event", "e", "-o", "x.png", "--size", "1x1"},
        {"snapshot", "capture", "--event", "e", "-o", "x.png", "--size", "640x480px"},
        {"snapshot", "capture", "--event", "e", "-o", "x.png", "--range", "9:3"},
        {"chart", "capture"},
        {"chart", "capture", "--event", "e", "--level", "10"},
        {"chart", "capture", "--event", "e", "--format", "xml"},
        {"list", "capture", "--bogus"},
    };
    for (const std::vector<std::string>& row : rows)
    {
        const ProgramResult result = gRunQuarkspindle(row);
        EXPECT_EQ(result.ExitCode, 2) << result.Output;
        EXPECT_NE(result.Errors, "");
    }
    EXPECT_NE(
        gRunQuarkspindle({"unknown"}).Errors.find("\"unknown\" is neither a command nor a file"), std::string::npos);
}

TEST_F(CommandLineTest, HelpAndVersionAreEverywhere)
{
    for (const char* command : {"import", "info", "list", "chart", "snapshot", "verify", "repair"})
    {
        const ProgramResult help = gRunQuarkspindle({command, "--help"});
        EXPECT_EQ(help.ExitCode, 0);
        EXPECT_NE(help.Output.find(command), std::string::npos);
        const ProgramResult version = gRunQuarkspindle({command, "--version"});
        EXPECT_EQ(version.ExitCode, 0) << version.Errors;
        EXPECT_EQ(version.Output.rfind("quarkspindle ", 0), 0u) << version.Output;
    }
    EXPECT_EQ(gRunQuarkspindle({"--version"}).ExitCode, 0);
    EXPECT_EQ(gRunQuarkspindle({"--help"}).ExitCode, 0);
}

TEST_F(CommandLineTest, OutputThatCannotBeWrittenIsAnError)
{
    const std::string capture = Import();
    for (const std::string& arguments : {std::string{"--help"}, std::string{"--version"}, std::string{"chart --help"},
             "info '" + capture + "'", "list '" + capture + "'", "verify '" + capture + "'"})
    {
        const ProgramResult result =
            Tests::gRunProgram({"/bin/sh", "-c", "'" QUARKSPINDLE_PROGRAM "' " + arguments + " >/dev/full"});
        EXPECT_EQ(result.ExitCode, 1) << arguments;
        EXPECT_EQ(result.Errors, "quarkspindle: The output could not be written\n") << arguments;
    }
}

TEST_F(CommandLineTest, TextOfACaptureCannotSteerTheTerminal)
{
    const std::string capture = Import(
        R"([{"ph":"X","pid":1,"tid":1,"ts":0,"dur":1,"name":"evil\u001b[2J\nname","args":{"detail":"\u0007"}}])");
    const ProgramResult list = gRunQuarkspindle({"list", capture});
    EXPECT_EQ(list.Output.find('\x1b'), std::string::npos);
    EXPECT_NE(list.Output.find("evil\\x1b[2J\\x0aname"), std::string::npos) << list.Output;
}

TEST_F(CommandLineTest, FailedImportLeavesNothingBehind)
{
    mDirectory.Write("text.json", "[1, 2, 3");
    EXPECT_EQ(gRunQuarkspindle({"import", mDirectory / "text.json", "-o", mDirectory / "out/capture"}).ExitCode, 1);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(mDirectory.GetPath()))
        EXPECT_NE(entry.path().extension(), ".session") << entry.path();
    EXPECT_FALSE(std::filesystem::exists(mDirectory / "out/capture"));
}

}
