#include "System/SerialThread.h"

#include <atomic>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

namespace System
{
namespace
{
TEST(SerialThread, DoesEverythingInOrder)
{
    std::vector<int> done;
    {
        SerialThread thread("Test", 3);
        for (int i = 0; i < 1000; ++i)
        {
            thread.Post([&done, i] { done.push_back(i); });
        }
        thread.Finish();
        ASSERT_EQ(done.size(), 1000u);
        thread.Finish();
        thread.Post([&done] { done.push_back(1000); });
        thread.Finish();
    }
    for (int i = 0; i <= 1000; ++i)
    {
        ASSERT_EQ(done[static_cast<std::size_t>(i)], i);
    }
}

TEST(SerialThread, ItsEndDropsWhatWaits)
{
    std::atomic<bool> isStarted = false;
    std::atomic<bool> mayEnd = false;
    std::atomic<int> numDone = 0;
    std::thread releaser;
    {
        SerialThread thread("Test", 10);
        thread.Post([&] {
            isStarted = true;
            isStarted.notify_one();
            mayEnd.wait(false);
            ++numDone;
        });
        isStarted.wait(false);
        thread.Post([&] { ++numDone; });
        thread.Post([&] { ++numDone; });
        // The destructor waits for the first one, which ends only when the others have been dropped or are next.
        releaser = std::thread([&] {
            mayEnd = true;
            mayEnd.notify_one();
        });
    }
    const int numDoneAtEnd = numDone;
    releaser.join();
    EXPECT_GE(numDoneAtEnd, 1);
    EXPECT_EQ(numDone, numDoneAtEnd) << "nothing runs behind the end";
}

TEST(SerialThread, AFailureEndsTheWorkAndComesOut)
{
    SerialThread thread("Test", 2);
    std::atomic<int> numDone = 0;
    thread.Post([&] { ++numDone; });
    thread.Post([] { throw std::runtime_error("fault"); });
    EXPECT_THROW(
        {
            // None of these waits for ever.
            for (int i = 0; i < 100; ++i)
            {
                thread.Post([&] { numDone = 100; });
            }
            thread.Finish();
        },
        std::runtime_error);
    EXPECT_THROW(thread.Finish(), std::runtime_error);
    EXPECT_EQ(numDone, 1);
}
}
}
