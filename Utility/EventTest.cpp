#include "Utility/Event.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace
{
using ::testing::ElementsAre;

class EventTest : public ::testing::Test
{
protected:
    auto Note(const char* name)
    {
        return [this, name](int value) {
            mCalls.push_back(name + std::to_string(value));
        };
    }

    Event<int> mEvent;
    std::vector<std::string> mCalls;
};

TEST_F(EventTest, HandlersRunInOrderAndLeaveAlone)
{
    const EventSubscription a = mEvent.Subscribe(Note("a"));
    std::optional<EventSubscription> b = mEvent.Subscribe(Note("b"));
    EventSubscription c = mEvent.Subscribe(Note("c"));
    mEvent.Fire(1);
    b.reset();
    mEvent.Fire(2);
    c.Unsubscribe();
    EXPECT_FALSE(c.IsSubscribed());
    const EventSubscription d = mEvent.Subscribe(Note("d"));
    mEvent.Fire(3);
    EXPECT_THAT(mCalls, ElementsAre("a1", "b1", "c1", "a2", "c2", "a3", "d3"));
}

TEST_F(EventTest, MovedHandlesStillUnsubscribe)
{
    {
        EventSubscription first = mEvent.Subscribe(Note("moved"));
        EventSubscription second = std::move(first);
        EventSubscription third = mEvent.Subscribe(Note("replaced"));
        third = std::move(second);
        EXPECT_FALSE(first.IsSubscribed());
        mEvent.Fire(1);
    }
    mEvent.Fire(2);
    EXPECT_THAT(mCalls, ElementsAre("moved1"));
}

TEST_F(EventTest, HandlesOutliveTheirEvent)
{
    auto event = std::make_unique<Event<>>();
    EventSubscription kept = event->Subscribe([] {});
    EventSubscription moved = std::move(kept);
    event.reset();
    EXPECT_FALSE(moved.IsSubscribed());
    kept = std::move(moved);
}

TEST_F(EventTest, WhatAHandlerHoldsMayBeAHandleOfTheSameEvent)
{
    auto inner = std::make_shared<EventSubscription>(mEvent.Subscribe(Note("inner")));
    EventSubscription outer = mEvent.Subscribe([inner](int) {});
    inner.reset();
    outer.Unsubscribe();
    mEvent.Fire(1);
    EXPECT_TRUE(mCalls.empty());
}

TEST_F(EventTest, EmptyHandlerRaisesAndLeavesTheEventUsable)
{
    EventSubscription empty = mEvent.Subscribe({});
    EXPECT_THROW(mEvent.Fire(1), std::bad_function_call);
    empty.Unsubscribe();
    const EventSubscription a = mEvent.Subscribe(Note("a"));
    mEvent.Fire(2);
    EXPECT_THAT(mCalls, ElementsAre("a2"));
}

TEST_F(EventTest, ReferencesReachTheHandlers)
{
    Event<std::string&> event;
    const EventSubscription a = event.Subscribe([](std::string& text) { text += 'a'; });
    const EventSubscription b = event.Subscribe([](std::string& text) { text += 'b'; });
    std::string text;
    event.Fire(text);
    EXPECT_EQ(text, "ab");
}

TEST_F(EventTest, SubscribingFiringAndLeavingOnManyThreads)
{
    Event<> event;
    std::atomic<bool> isOver = false;
    std::thread firing([&] {
        while (!isOver)
        {
            event.Fire();
        }
    });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread)
    {
        threads.emplace_back([&event] {
            for (int round = 0; round < 300; ++round)
            {
                // The handler's target dies right after the handle: no call may come later.
                auto target = std::make_unique<int>(0);
                EventSubscription handle = event.Subscribe([&value = *target] { ++value; });
                EventSubscription moved = std::move(handle);
                moved.Unsubscribe();
                target.reset();
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    isOver = true;
    firing.join();
}

TEST(MutexTest, WaitersWakeAndTimeOut)
{
    Utility::Mutex mutex;
    Utility::ConditionVariable changed;
    bool isReady = false;
    std::thread other([&] {
        const Utility::MutexLock lock(mutex);
        isReady = true;
        changed.NotifyAll();
    });
    {
        Utility::MutexLock lock(mutex);
        while (!isReady)
        {
            changed.Wait(mutex);
        }
        lock.Unlock();
        lock.Lock();
        while (changed.WaitFor(mutex, std::chrono::milliseconds(1)))
        {}
    }
    other.join();
    if (mutex.TryLock())
    {
        mutex.Unlock();
    }
    else
    {
        ADD_FAILURE() << "nobody holds it any more";
    }
}
}
