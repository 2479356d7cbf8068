#pragma once

#include "Utility/Mutex.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <functional>
#include <iterator>
#include <thread>
#include <utility>
#include <vector>

class EventSubscription;

/// What a subscription handle knows of its event, whatever the arguments of that event are.
class EventBase
{
protected:
    EventBase() = default;
    virtual ~EventBase() = default;

private:
    friend class EventSubscription;
    virtual void Unsubscribe(std::uint32_t id) = 0;
    virtual void Retarget(std::uint32_t id, EventSubscription* handle) = 0;
};

/// Keeps one handler subscribed: its end unsubscribes. It may outlive the event, which then has let go of it. The end
/// of a handle waits for an event that is firing, so no handler runs any more once it is gone; by the same token
/// neither the end nor a move of a handle may happen inside a handler of that event. A handle has one owner: it and the
/// event may not end on two threads at the same time.
class [[nodiscard]] EventSubscription
{
public:
    EventSubscription() = default;
    EventSubscription(EventSubscription&& other) noexcept { Take(other); }
    EventSubscription& operator=(EventSubscription&& other) noexcept
    {
        if (this != &other)
        {
            Unsubscribe();
            Take(other);
        }
        return *this;
    }
    ~EventSubscription() { Unsubscribe(); }

    void Unsubscribe()
    {
        if (EventBase* const event = std::exchange(mEvent, nullptr))
        {
            event->Unsubscribe(mId);
        }
    }
    bool IsSubscribed() const { return mEvent != nullptr; }

private:
    template <typename... Args>
    friend class Event;

    EventSubscription(EventBase& event, std::uint32_t id) : mEvent(&event), mId(id) { event.Retarget(id, this); }

    void Take(EventSubscription& other) noexcept
    {
        mEvent = std::exchange(other.mEvent, nullptr);
        mId = other.mId;
        if (mEvent != nullptr)
        {
            mEvent->Retarget(mId, this);
        }
    }

    EventBase* mEvent = nullptr;
    std::uint32_t mId = 0;
};

/// A multicast callback: how background work and settings announce what happened. Subscribing and firing may happen on
/// any thread. It fires under its own mutex, in the order of subscription, on the thread that fires it: a handler must
/// neither use the same event again nor wait for something that does. A handler that is empty raises
/// std::bad_function_call when it is its turn.
template <typename... Args>
class Event final : private EventBase
{
public:
    Event() = default;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    ~Event()
    {
        const Utility::MutexLock lock(mMutex);
        for (const Entry& entry : mEntries)
        {
            entry.mHandle->mEvent = nullptr;
        }
    }

    [[nodiscard]] EventSubscription Subscribe(std::function<void(Args...)> handler)
    {
        AssertNotFiring();
        std::uint32_t id = 0;
        {
            const Utility::MutexLock lock(mMutex);
            id = ++mLastId;
            mEntries.push_back({id, std::move(handler), nullptr});
        }
        return EventSubscription(*this, id);
    }

    void Fire(Args... arguments)
    {
        AssertNotFiring();
        const Utility::MutexLock lock(mMutex);
        const FiringMark mark(mFiringThread);
        for (const Entry& entry : mEntries)
        {
            entry.mHandler(arguments...);
        }
    }

private:
    struct Entry
    {
        std::uint32_t mId;
        std::function<void(Args...)> mHandler;
        EventSubscription* mHandle;
    };

    class FiringMark
    {
    public:
        explicit FiringMark(std::atomic<std::thread::id>& thread) : mThread(thread)
        {
            mThread.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
        ~FiringMark() { mThread.store(std::thread::id(), std::memory_order_relaxed); }
        FiringMark(const FiringMark&) = delete;
        FiringMark& operator=(const FiringMark&) = delete;

    private:
        std::atomic<std::thread::id>& mThread;
    };

    /// A handler that comes back to its own event would wait for itself. Relaxed is enough: a thread always sees its
    /// own mark, and that of another thread never equals its id.
    void AssertNotFiring() const
    {
        assert(mFiringThread.load(std::memory_order_relaxed) != std::this_thread::get_id() &&
               "an event was used from inside one of its own handlers");
    }

    void Unsubscribe(std::uint32_t id) override
    {
        AssertNotFiring();
        // What the handler holds is released after the lock, since its end may lead back here.
        std::function<void(Args...)> handler;
        const Utility::MutexLock lock(mMutex);
        const auto entry = Find(id);
        if (entry != mEntries.rend())
        {
            handler = std::move(entry->mHandler);
            mEntries.erase(std::next(entry).base());
        }
    }

    void Retarget(std::uint32_t id, EventSubscription* handle) override
    {
        AssertNotFiring();
        const Utility::MutexLock lock(mMutex);
        const auto entry = Find(id);
        if (entry != mEntries.rend())
        {
            entry->mHandle = handle;
        }
    }

    /// From the back: those who subscribed last tend to leave first.
    auto Find(std::uint32_t id) REQUIRES(mMutex)
    {
        return std::find_if(mEntries.rbegin(), mEntries.rend(), [id](const Entry& entry) { return entry.mId == id; });
    }

    Utility::Mutex mMutex;
    std::vector<Entry> mEntries GUARDED_BY(mMutex);
    std::uint32_t mLastId GUARDED_BY(mMutex) = 0;
    std::atomic<std::thread::id> mFiringThread{};
};
