#include "Utility/Trace.h"

#include "Utility/Mutex.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

namespace
{
using Utility::gSetTraceSinks;
using Utility::gTrace;

class TraceTest : public ::testing::Test
{
protected:
    struct Lines
    {
        Utility::Mutex mMutex;
        std::vector<std::string> mLines GUARDED_BY(mMutex);

        static void sAdd(const char* line, void* context)
        {
            auto& lines = *static_cast<Lines*>(context);
            const Utility::MutexLock lock(lines.mMutex);
            lines.mLines.push_back(line);
        }
        std::vector<std::string> Take()
        {
            const Utility::MutexLock lock(mMutex);
            return std::exchange(mLines, {});
        }
    };

    ~TraceTest() override { gSetTraceSinks(mBefore); }

    const std::vector<Utility::TraceSink> mBefore = Utility::gGetTraceSinks();
    Lines mFirst;
    Lines mSecond;
};

TEST_F(TraceTest, EverySinkGetsTheSameFinishedLine)
{
    gSetTraceSinks({{&Lines::sAdd, &mFirst}, {&Lines::sAdd, &mSecond}});
    gTrace("Loaded %d of %s", 7, "seven");
    const std::vector<std::string> lines = mFirst.Take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], ::testing::MatchesRegex("\\[[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\]: Loaded 7 of seven\n"));
    EXPECT_EQ(mSecond.Take(), lines);
}

TEST_F(TraceTest, LinesOfAnyLengthAreWhole)
{
    gSetTraceSinks({{&Lines::sAdd, &mFirst}});
    constexpr std::size_t prefix = 12;
    for (std::size_t length = 1000; length < 1030; ++length)
    {
        gTrace("%s", std::string(length, 'x').c_str());
        const std::vector<std::string> lines = mFirst.Take();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].substr(prefix), std::string(length, 'x') + '\n');
    }
}

TEST_F(TraceTest, ThreadsDoNotMixTheirLines)
{
    gSetTraceSinks({{&Lines::sAdd, &mFirst}});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back([thread] {
            for (int line = 0; line < 50; ++line)
            {
                gTrace("%s", std::string(2000, static_cast<char>('a' + thread)).c_str());
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    const std::vector<std::string> lines = mFirst.Take();
    EXPECT_EQ(lines.size(), 200u);
    for (const std::string& line : lines)
    {
        EXPECT_EQ(line.find_first_not_of(line[12], 12), line.size() - 1);
    }
}

TEST_F(TraceTest, WithoutSinksStandardErrorSaysSo)
{
    gSetTraceSinks({});
    ::testing::internal::CaptureStderr();
    gTrace("lost");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Attempt to trace before tracing is initialized\n");
}
}
