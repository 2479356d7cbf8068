#include "ProfilerLib/session/SessionRebuild.h"

#include "ProfilerLib/session/EventStreamFixture.h"

#include <gmock/gmock.h>

namespace Profiler
{
namespace
{
using ::testing::ElementsAre;

class SessionRebuildTest : public EventStreamFixture
{
protected:
    std::unique_ptr<Session> Rebuild()
    {
        EXPECT_TRUE(gRebuildSession(GetSessionPath(), mRegistry, mResult)) << mResult.ToString();
        std::unique_ptr<Session> session;
        EXPECT_EQ(
            Session::sLoad(GetSessionPath(), mRegistry, nullptr, nullptr, nullptr, session, mResult), Session::Loaded)
            << mResult.ToString();
        return session;
    }
};

TEST_F(SessionRebuildTest, EventsOfARecordingThatDiedMakeItsSession)
{
    const std::unique_ptr<TraceEventStream> stream = Create();
    const auto add = [&](TraceEvent event, std::int32_t processID) {
        event.mProcessID = processID;
        ASSERT_TRUE(stream->AddEvent(event, mResult)) << mResult.ToString();
    };
    add(MakeThreadStart(1.0, 8, 0), 7);
    add(MakeThreadStart(2.0, 9, 0), 7);
    add(MakeThreadName(2.5, 9, "short"), 7);
    add(MakeBegin(3.0, "Load", "level 1", 8), 7);
    add(MakeEvent(ETraceEventType::ThreadEnd, 4.0, 9), 7);
    add(MakeBegin(6.0, "Foreign", {}, 70), 71);
    ASSERT_TRUE(stream->Flush(mResult));

    const std::unique_ptr<Session> session = Rebuild();
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->GetSessionInfo().ProcessID, 7);
    EXPECT_EQ(session->GetSessionInfo().SessionEndTimeMs, 6.0);
    EXPECT_THAT(session->GetThreadOrder(), ElementsAre(8, 9));
    EXPECT_EQ(session->GetThread(8).StartTimeMs, 1.0);
    EXPECT_EQ(session->GetThread(8).EndTimeMs, 6.0) << "it ran to the end";
    EXPECT_EQ(session->GetThread(9).ThreadName, "short");
    EXPECT_EQ(session->GetThread(9).EndTimeMs, 4.0);
    EXPECT_EQ(session->GetInstrumentationDatabase().GetNumContexts(), 1u);
    EXPECT_EQ(session->GetEventStream().GetNumEvents(), 6u) << "the stream is not touched";
}

TEST_F(SessionRebuildTest, DamagedEventsMakeNone)
{
    RecordSmall();
    std::string data = mFolder.Read("events.dat");
    data[0] = '\x55';
    Replace("events.dat", data);
    EXPECT_FALSE(gRebuildSession(GetSessionPath(), mRegistry, mResult));
    EXPECT_FALSE(FileSystem::gFileExists(GetSessionPath()));

    Replace("events.dat", "");
    Replace("events.index", "");
    mResult.Clear();
    EXPECT_FALSE(gRebuildSession(GetSessionPath(), mRegistry, mResult));
}
}
}
