#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/session/SessionFixture.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Utility/FailingFileCalls.h"
#include "tests/soak/Recording.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

namespace
{

using namespace Profiler;
using namespace Tests;
using ::testing::IsEmpty;

constexpr uint64_t cSeed = 5;

class ReadersTest : public SessionFixture
{
protected:
    /// Reads from an event on, and checks that all come that were safe when it began.
    static void Read(const TraceEventStream& stream, uint64_t first, uint64_t numSafe)
    {
        uint64_t next = first;
        TraceEventStream::Iterator events = stream.GetIterator(static_cast<double>(first) * 0.5);
        events.ForEachRecord([&](const TraceEventRecord& record) {
            const bool isNext = record.GetTime() == static_cast<double>(next) * 0.5;
            EXPECT_TRUE(isNext) << "event " << next << " is missing";
            ++next;
            return isNext;
        });
        EXPECT_EQ(events.GetFailure(), "");
        EXPECT_GE(next, numSafe);
    }

    /// Most readings begin near the end, where the writer is; some take all.
    static uint64_t ChooseStart(std::mt19937_64& random, uint64_t numSafe)
    {
        const uint64_t distance = random() % 50 == 0 ? numSafe : std::min<uint64_t>(numSafe, random() % 50'000);
        return numSafe - distance;
    }

    void ReadAgainAndAgain(const TraceEventStream& stream, uint64_t seed)
    {
        std::mt19937_64 random{seed};
        while (!mIsDone)
        {
            const uint64_t numSafe = mNumSafe;
            Read(stream, ChooseStart(random, numSafe), numSafe);
            ++mNumReadings;
        }
    }

    void OpenAgainAndAgain(uint64_t seed)
    {
        std::mt19937_64 random{seed};
        while (!mIsDone)
        {
            const uint64_t numSafe = mNumSafe;
            std::unique_ptr<Session> session;
            Utility::Result result;
            ASSERT_EQ(Session::sLoad(GetSessionPath(), mRegistry, nullptr, nullptr, nullptr, session, result),
                Session::Loaded)
                << result.ToString();
            EXPECT_GE(session->GetEventStream().GetNumEvents(), numSafe);
            Read(session->GetEventStream(), ChooseStart(random, numSafe), numSafe);
            ++mNumOpenings;
        }
    }

    void Write(Session& session, std::chrono::seconds duration)
    {
        std::mt19937_64 random{cSeed};
        uint64_t number = 0;
        const auto end = std::chrono::steady_clock::now() + duration;
        for (int chunk = 0; std::chrono::steady_clock::now() < end && !HasFailure(); ++chunk)
        {
            for (uint64_t count = 1 + random() % 3000; count > 0; --count)
                ASSERT_TRUE(session.AddEvent(gMakeRecordedEvent(cSeed, number++), mResult)) << mResult.ToString();
            const bool isWhole = random() % 8 == 0;
            ASSERT_TRUE(isWhole ? session.Save(mResult) : session.GetEventStream().Flush(mResult))
                << mResult.ToString();
            mNumSafe = number;
        }
    }

    std::atomic<bool> mIsDone = false;
    /// Events that were acknowledged.
    std::atomic<uint64_t> mNumSafe = 0;
    std::atomic<uint64_t> mNumReadings = 0;
    std::atomic<uint64_t> mNumOpenings = 0;
};

TEST_F(ReadersTest, SeeAllThatIsSafeAndNoErrorBesideAWriter)
{
    FileSystem::Internal::FastFileCalls calls;
    calls.mReplacesAtOnce = true;
    const FileSystem::Internal::ScopedFileCalls scope{calls};
    Session session{GetSessionPath(), nullptr, nullptr, nullptr};
    ASSERT_TRUE(session.Save(mResult)) << mResult.ToString();

    std::vector<std::thread> threads;
    for (uint64_t seed : {1, 2})
    {
        threads.emplace_back([&, seed] { ReadAgainAndAgain(session.GetEventStream(), seed); });
        threads.emplace_back([&, seed] { OpenAgainAndAgain(seed); });
    }
    Write(session, std::chrono::seconds{gIsLongForm() ? 60 : 3});
    mIsDone = true;
    for (std::thread& thread : threads)
        thread.join();

    std::printf("%llu events written beside %llu readings and %llu openings\n",
        static_cast<unsigned long long>(mNumSafe.load()), static_cast<unsigned long long>(mNumReadings.load()),
        static_cast<unsigned long long>(mNumOpenings.load()));
    EXPECT_TRUE(gHoldsRecording(session.GetEventStream().GetDataPath(), cSeed, mNumSafe));
    EXPECT_GT(mNumReadings, 10u);
    EXPECT_GT(mNumOpenings, 10u);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

}
