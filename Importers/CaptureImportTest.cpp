#include "Importers/CaptureImport.h"

#include "ProfilerLib/session/SessionFixture.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Utility/DirectoryLock.h"
#include "Utility/FailureSweep.h"
#include "Utility/FileSystem.h"
#include "Utility/Hash.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Importers
{
namespace
{
using testing::ElementsAre;
using testing::HasSubstr;

const char* const sTrace = R"({"traceEvents":[
    {"ph":"M","name":"process_name","pid":40,"args":{"name":"server"}},
    {"ph":"M","name":"thread_name","pid":40,"tid":2,"args":{"name":"main"}},
    {"ph":"X","name":"work","pid":40,"tid":2,"ts":100,"dur":1000,"args":{"detail":"first"}},
    {"ph":"X","name":"part","pid":40,"tid":2,"ts":200.5,"dur":10},
    {"ph":"X","name":"work","pid":40,"tid":3,"ts":300,"dur":100,"args":{"detail":"second"}}]})";

class CaptureImportTest : public Profiler::SessionFixture
{
protected:
    bool Import(const std::string& name, bool force = false, const ImportOptions& options = {})
    {
        mResult.Clear();
        return gImportCapture(mTrace, mFolder / name, force, options, {}, mReport, mResult);
    }
    std::unique_ptr<Profiler::Session> Load(const std::string& name)
    {
        std::unique_ptr<Profiler::Session> session;
        EXPECT_EQ(Profiler::Session::sLoad(
                      gGetCaptureSessionPath(mFolder / name), mRegistry, nullptr, nullptr, nullptr, session, mResult),
            Profiler::Session::Loaded)
            << mResult.ToString();
        return session;
    }
    /// The entries of the folder, directories too.
    std::vector<std::string> ListEntries()
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder.GetPath()))
        {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string GetError() const { return mResult.GetEntries().empty() ? "" : mResult.GetEntries().front().mMessage; }

    std::string mTrace = mFolder.Write("trace.json", sTrace);
    ImportReport mReport;
};

TEST_F(CaptureImportTest, CaptureHoldsTheTrace)
{
    ASSERT_TRUE(Import("new/folder/capture/")) << mResult.ToString();
    EXPECT_THAT(ListEntries(), ElementsAre("new", "trace.json"));
    const std::unique_ptr<Profiler::Session> session = Load("new/folder/capture");
    ASSERT_NE(session, nullptr);

    EXPECT_EQ(session->GetSessionInfo().ProcessID, 40);
    EXPECT_EQ(session->GetSessionInfo().SessionEndTimeMs, 1.0);
    ASSERT_EQ(session->GetThreads().size(), 2u);
    EXPECT_EQ(session->FindThread(2)->ThreadName, "main");
    EXPECT_EQ(session->FindThread(2)->StartTimeMs, 0.0);
    EXPECT_EQ(session->FindThread(2)->EndTimeMs, 1.0);
    EXPECT_EQ(session->FindThread(3)->ThreadName, "");
    EXPECT_EQ(session->FindThread(3)->StartTimeMs, 0.2);
    EXPECT_EQ(session->FindThread(3)->EndTimeMs, 0.3);
    EXPECT_THAT(session->GetThreadOrder(), ElementsAre(2, 3));
    EXPECT_EQ(session->GetInstrumentationDatabase().GetEventName(Utility::gXXH64("part")), "part");
    EXPECT_EQ(session->GetInstrumentationDatabase().GetNumEvents(), 2u);
    EXPECT_EQ(session->GetInstrumentationDatabase().GetContext(Utility::gXXH64("second")), "second");
    EXPECT_EQ(session->GetInstrumentationDatabase().GetNumContexts(), 2u);

    std::string events;
    auto iterator = session->GetEventStream().GetIterator(0.0);
    while (!iterator.IsAtEnd())
    {
        const Profiler::TraceEvent event = iterator.Next();
        EXPECT_EQ(event.mProcessID, 40);
        if (event.mType == Profiler::ETraceEventType::InstrumentationBegin)
        {
            EXPECT_EQ(event.mID, Utility::gXXH64(event.mName));
        }
        events += std::to_string(static_cast<int>(event.mType)) + "@" + std::to_string(event.mTime) + "/" +
                  std::to_string(event.mThreadID) + event.mName + event.mContext + " ";
    }
    EXPECT_EQ(events, "4@0.000000/2 6@0.000000/2main 7@0.000000/2workfirst 7@0.100500/2part 8@0.110500/2 "
                      "4@0.200000/3 7@0.200000/3worksecond 8@0.300000/3 5@0.300000/3 8@1.000000/2 5@1.000000/2 ");
}

TEST_F(CaptureImportTest, FailureAndCancellationLeaveNothing)
{
    mFolder.Write("trace.json", "nonsense");
    EXPECT_FALSE(Import("a/b/capture"));
    EXPECT_THAT(GetError(), HasSubstr("byte 0"));
    EXPECT_EQ(mResult.GetEntries().front().mContext, mTrace);
    EXPECT_THAT(ListEntries(), ElementsAre("trace.json"));

    mFolder.Write("trace.json", sTrace);
    for (const auto phase : {ImportProgress::EPhase::Reading, ImportProgress::EPhase::Writing})
    {
        std::atomic<bool> cancelled = false;
        ImportOptions options;
        options.mCancelled = &cancelled;
        options.mProgress = [&](const ImportProgress& progress) {
            cancelled = progress.mPhase == phase;
        };
        EXPECT_FALSE(Import("a/b/capture", false, options));
        EXPECT_TRUE(mReport.mIsCancelled);
        EXPECT_FALSE(mResult.HasErrors());
        EXPECT_THAT(ListEntries(), ElementsAre("trace.json"));
    }

    mFolder.Write("blocked", "a file");
    EXPECT_FALSE(Import("blocked/capture"));
    EXPECT_NE(GetError(), "");
    EXPECT_THAT(ListEntries(), ElementsAre("blocked", "trace.json"));
}

TEST_F(CaptureImportTest, OnlyForceReplacesAndOnlyACapture)
{
    ASSERT_TRUE(Import("capture"));
    // What a killed process leaves is a part of a capture too.
    mFolder.Write("capture/events.index.0123456789ABCDEF.tmp", "half");
    mFolder.Write("capture/BarChart/Model.dat.0123456789ABCDEF.tmp", "half");
    ASSERT_TRUE(Import("capture", true)) << GetError();
    mFolder.Write("capture/mine.txt", "old");
    EXPECT_FALSE(Import("capture"));
    EXPECT_EQ(GetError(), "it exists already; --force replaces it");
    EXPECT_EQ(mResult.GetEntries().front().mContext, mFolder / "capture");

    EXPECT_FALSE(Import("capture", true));
    EXPECT_THAT(GetError(), HasSubstr("it holds \"mine.txt\""));
    EXPECT_EQ(mFolder.Read("capture/mine.txt"), "old") << "what is no part of a capture is never deleted";
    FileSystem::gDeleteFile(mFolder / "capture/mine.txt");

    mFolder.Write("trace.json", "nonsense");
    EXPECT_FALSE(Import("capture", true));
    EXPECT_EQ(Load("capture")->GetSessionInfo().ProcessID, 40) << "a failure leaves the old one";

    mFolder.Write("trace.json", R"([{"ph":"X","name":"other","pid":41,"tid":1,"ts":0,"dur":1}])");
    ASSERT_TRUE(Import("capture", true)) << mResult.ToString();
    EXPECT_EQ(Load("capture")->GetSessionInfo().ProcessID, 41);
    EXPECT_THAT(ListEntries(), ElementsAre("capture", "trace.json"));

    mFolder.Write("home/letter.txt", "dear");
    EXPECT_FALSE(Import("home", true));
    EXPECT_THAT(GetError(), HasSubstr("\"letter.txt\""));
    EXPECT_EQ(mFolder.Read("home/letter.txt"), "dear");
    EXPECT_FALSE(Import("trace.json", true));
    EXPECT_FALSE(Import("capture/..", true));

    ASSERT_TRUE(FileSystem::gCreateDirectory(mFolder / "empty"));
    EXPECT_TRUE(Import("empty", true));
    EXPECT_TRUE(Import("new", true));
}

TEST_F(CaptureImportTest, WhatAKilledImportLeftGoesWithTheNextOne)
{
    mFolder.Write("capture.0000000000000001.tmp/events.dat", "abandoned");
    mFolder.Write("capture.0000000000000002.tmp/events.dat", "of a running import");
    mFolder.Write("capture.0000000000000003.tmp/mine.txt", "no part of a capture");
    mFolder.Write("capture.0000000000000004.tmp", "a file");
    mFolder.Write("other.0000000000000005.tmp/events.dat", "of another target");
    FileSystem::DirectoryLock running;
    ASSERT_EQ(
        running.TryAcquire(mFolder / "capture.0000000000000002.tmp"), FileSystem::DirectoryLock::EOutcome::Acquired);
    ASSERT_TRUE(Import("capture")) << GetError();
    EXPECT_THAT(ListEntries(), ElementsAre("capture", "capture.0000000000000002.tmp", "capture.0000000000000003.tmp",
                                   "capture.0000000000000004.tmp", "other.0000000000000005.tmp", "trace.json"));
}

TEST_F(CaptureImportTest, WhateverFailsTheCaptureIsTheOldOneOrWholly)
{
    std::vector<std::string> files;
    for (const char* const name : {"capture.session", "events.dat", "events.index"})
    {
        files.push_back(std::string("new/capture/") + name);
    }
    for (const bool replaces : {false, true})
    {
        SCOPED_TRACE(replaces ? "in place of an older capture" : "into a new folder");
        const auto prepare = [&] {
            FileSystem::gDeleteDirectoryTree(mFolder / "new");
            if (replaces)
            {
                mFolder.Replace("trace.json", R"([{"ph":"X","name":"other","pid":41,"tid":1,"ts":0,"dur":1}])");
                ASSERT_TRUE(Import("new/capture")) << mResult.ToString();
            }
            mFolder.Replace("trace.json", sTrace);
        };
        const auto write = [&](Utility::Result& result) {
            const bool isWritten = Import("new/capture", replaces);
            result = mResult;
            return isWritten;
        };
        const auto check = [&](bool isWritten) {
            EXPECT_EQ(FileSystem::gFileExists(mFolder / "new"), isWritten || replaces);
            if (!isWritten && replaces)
            {
                EXPECT_EQ(Load("new/capture")->GetSessionInfo().ProcessID, 41);
            }
            ASSERT_TRUE(isWritten || Import("new/capture", replaces)) << mResult.ToString();
            const std::unique_ptr<Profiler::Session> session = Load("new/capture");
            ASSERT_NE(session, nullptr);
            EXPECT_EQ(session->GetSessionInfo().ProcessID, 40);
            EXPECT_EQ(session->GetEventStream().GetNumEvents(), 11u);
            int numEvents = 0;
            for (auto events = session->GetEventStream().GetIterator(0.0); !events.IsAtEnd(); events.Next())
            {
                ++numEvents;
            }
            EXPECT_EQ(numEvents, 11);
        };
        std::vector<std::string> entries = files;
        entries.insert(entries.end(), {"trace.json", "new", "new/capture"});
        EXPECT_GE(FileSystem::Internal::gTryOnFailingDisks({mFolder, entries, prepare, write, check}), 25);
    }
}

TEST_F(CaptureImportTest, AnotherImportMayMakeTheFolderFirst)
{
    class OtherIsFirst final : public FileSystem::Internal::FileCalls
    {
    public:
        int CreateDirectory(const char* path) override
        {
            return std::string_view(path).ends_with("/new") && FileCalls::CreateDirectory(path) < 0
                       ? -1
                       : FileCalls::CreateDirectory(path);
        }
    } calls;
    const FileSystem::Internal::ScopedFileCalls scope(calls);
    EXPECT_TRUE(Import("new/capture")) << mResult.ToString();
    EXPECT_NE(Load("new/capture"), nullptr);
    EXPECT_FALSE(Import("trace.json/capture"));
    EXPECT_THAT(mResult.ToString(), HasSubstr("trace.json/capture"));
}

TEST_F(CaptureImportTest, OldCaptureThatCannotBeDeletedIsNamed)
{
    ASSERT_TRUE(Import("capture"));
    FileSystem::Internal::FailingFileCalls calls;
    const FileSystem::Internal::ScopedFileCalls scope(calls);
    calls.SetRemoveError(static_cast<int>(std::errc::io_error));
    EXPECT_TRUE(Import("capture", true)) << mResult.ToString();
    calls.SetRemoveError(0);
    ASSERT_EQ(ListEntries().size(), 3u);
    EXPECT_THAT(mLog.Take(), HasSubstr(mFolder / ListEntries()[1]));
}

TEST(CapturePathTest, CaptureLiesBesideTheTrace)
{
    const std::pair<const char*, const char*> rows[] = {
        {"a/trace.json", "a/trace"},
        {"trace.json.gz", "trace"},
        {"/x.y/trace.v2.json.zst", "/x.y/trace.v2"},
        {"trace.gz", "trace"},
        {"trace", "trace.capture"},
        {"a.b/trace", "a.b/trace.capture"},
        {".hidden", ".hidden.capture"},
        {".gz", ".gz.capture"},
    };
    for (const auto& [trace, directory] : rows)
    {
        EXPECT_EQ(gGetCaptureDirectory(trace), directory);
    }
    EXPECT_EQ(gGetCaptureSessionPath("a/b.c/"), "a/b.c/b.c.session");
}
}
}
