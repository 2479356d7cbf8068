#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/SessionFixture.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Utility/FileWriter.h"
#include "tests/soak/Recording.h"
#include "tests/support/RunProgram.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstring>
#include <random>

namespace
{

using namespace Profiler;
using namespace Tests;
using ::testing::IsEmpty;

/// What a recorder had acknowledged when it ended.
struct Recording
{
    uint64_t Seed = 0;
    uint64_t NumEvents = 0;
};

/// Programs that record and die, and what they leave behind.
class CrashTest : public SessionFixture
{
protected:
    std::vector<std::string> GetCommand(uint64_t seed, uint64_t numEvents, uint64_t largestChunk) const
    {
        return {SOAK_RECORDER, GetSessionPath(), std::to_string(seed), std::to_string(numEvents),
            std::to_string(largestChunk)};
    }

    static uint64_t GetAcknowledged(const std::string& output)
    {
        const std::size_t size = output.size() / sizeof(uint64_t) * sizeof(uint64_t);
        uint64_t numEvents = 0;
        if (size != 0)
            std::memcpy(&numEvents, output.data() + size - sizeof(numEvents), sizeof(numEvents));
        return numEvents;
    }

    /// Opens what is there. It must be the recording, with all that was acknowledged of it; before anything was
    /// acknowledged it may be the earlier one that lay there. Returns which it is, and how much of it.
    Recording Check(const Recording& recorded, const Recording& earlier)
    {
        const bool mayBeEarlier = recorded.NumEvents == 0;
        mResult.Clear();
        for (const std::string& file : mFolder.List())
        {
            EXPECT_THAT(std::string{FileSystem::gStripTemporaryName(file)},
                ::testing::AnyOf("capture.session", "events.dat", "events.index"));
        }
        std::unique_ptr<Session> session;
        if (Session::sLoad(GetSessionPath(), mRegistry, nullptr, nullptr, nullptr, session, mResult) != Session::Loaded)
        {
            EXPECT_TRUE(mayBeEarlier && earlier.Seed == 0) << mResult.ToString();
            return {};
        }
        TraceEventStream& stream = session->GetEventStream();
        const uint64_t numEvents = stream.GetNumEvents();
        uint64_t numRead = 0;
        stream.GetIterator(0.0).ForEachRecord([&](const TraceEventRecord&) { return ++numRead != 0; });
        EXPECT_EQ(numRead, numEvents);
        EXPECT_TRUE(stream.CheckWhole(mResult)) << mResult.ToString();
        EXPECT_THAT(mLog.Take(), IsEmpty());

        if (gHoldsRecording(stream.GetDataPath(), recorded.Seed, numEvents))
        {
            EXPECT_GE(numEvents, recorded.NumEvents);
            return {recorded.Seed, numEvents};
        }
        EXPECT_TRUE(mayBeEarlier && gHoldsRecording(stream.GetDataPath(), earlier.Seed, numEvents));
        EXPECT_EQ(numEvents, earlier.NumEvents);
        return earlier;
    }

    void Empty() const
    {
        for (const std::string& file : mFolder.List())
            FileSystem::gDeleteFile(mFolder / file);
    }
};

TEST_F(CrashTest, ExitAtAnyOperationKeepsWhatWasAcknowledged)
{
    int numExits = 0;
    for (const bool overEarlier : {false, true})
    {
        for (const char* const kind : {"whole", "torn"})
        {
            int exitCode = 3;
            for (int operation = 0; exitCode != 0; ++operation)
            {
                SCOPED_TRACE(::testing::Message() << "operation " << operation << ", " << kind
                                                  << (overEarlier ? ", over an earlier recording" : ""));
                Empty();
                Recording earlier;
                if (overEarlier)
                {
                    std::vector<std::string> command = GetCommand(7, 12, 5);
                    command.push_back("fast");
                    const ProgramResult run = gRunProgram(command);
                    ASSERT_EQ(run.ExitCode, 0) << run.Errors;
                    earlier = {7, GetAcknowledged(run.Output)};
                }
                std::vector<std::string> command = GetCommand(8, 30, 9);
                command.insert(command.end(), {"fast", kind, "exit", std::to_string(operation)});
                const ProgramResult run = gRunProgram(command);
                exitCode = run.ExitCode;
                ASSERT_TRUE(exitCode == 0 || exitCode == 3) << run.Errors;
                numExits += exitCode == 3;
                const Recording left = Check({8, GetAcknowledged(run.Output)}, earlier);
                EXPECT_TRUE(exitCode == 3 || left.NumEvents >= 30);

                // And it can be gone on with.
                if (left.Seed == 8)
                {
                    command = GetCommand(8, 50, 9);
                    command.insert(command.end(), {"fast", "continue"});
                    const ProgramResult next = gRunProgram(command);
                    ASSERT_EQ(next.ExitCode, 0) << next.Errors;
                    EXPECT_GE(Check({8, GetAcknowledged(next.Output)}, {}).NumEvents, 50u);
                }
                if (HasFailure())
                    return;
            }
        }
    }
    std::printf("%d exits\n", numExits);
    EXPECT_GT(numExits, 100);
}

TEST_F(CrashTest, KillAtAnyMomentKeepsWhatWasAcknowledged)
{
    const int numKills = gIsLongForm() ? 200 : 20;
    constexpr uint64_t endless = 1'000'000'000;
    std::mt19937_64 random{1};
    Recording left;
    uint64_t numEvents = 0;
    for (int i = 0; i < numKills; ++i)
    {
        const uint64_t seed = 100 + static_cast<uint64_t>(i);
        const uint64_t choice = random() % 4;
        if (choice == 0 || left.NumEvents > (gIsLongForm() ? 2'000'000 : 300'000))
        {
            Empty();
            left = {};
        }
        const bool continues = choice > 1 && left.Seed != 0;
        const bool isFast = random() % 3 != 0;
        std::vector<std::string> command = GetCommand(continues ? left.Seed : seed, endless, 3000);
        if (continues)
            command.emplace_back("continue");
        if (isFast)
            command.emplace_back("fast");
        const std::size_t numAcknowledgements = random() % (isFast && gIsLongForm() ? 60 : 20);
        const std::chrono::microseconds delay{random() % (isFast ? 5000 : 20000)};
        SCOPED_TRACE(::testing::Message() << "kill " << i << (continues ? " of one that went on" : "") << " after "
                                          << numAcknowledgements << " chunks and " << delay.count() << " us");
        const ProgramResult run = gRunAndKillProgram(command, numAcknowledgements * sizeof(uint64_t), delay);
        ASSERT_EQ(run.ExitCode, 128 + SIGKILL) << run.Errors;
        const Recording recorded{
            continues ? left.Seed : seed, std::max(GetAcknowledged(run.Output), continues ? left.NumEvents : 0)};
        left = Check(recorded, left);
        numEvents += recorded.NumEvents;
        if (HasFailure())
            return;
    }
    std::printf("%d kills, %llu acknowledged events checked\n", numKills, static_cast<unsigned long long>(numEvents));
}

}
