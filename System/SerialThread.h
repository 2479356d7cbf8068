#pragma once

#include "System/Mutex.h"

#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <string>
#include <thread>

namespace System
{
/// A thread that does what it is given, one after the other. For work that must stay in order and whose giver goes on
/// meanwhile; what may run anywhere and in any order is for the JobScheduler. One thread at a time uses the object.
class SerialThread
{
public:
    /// The name is for debuggers and tools. No more than `mostWaiting` pieces of work wait for their turn.
    SerialThread(std::string name, std::size_t mostWaiting);
    /// Waits for the work that is being done. What still waits is dropped: Finish comes first where that matters.
    ~SerialThread();
    SerialThread(const SerialThread&) = delete;
    SerialThread& operator=(const SerialThread&) = delete;

    /// Waits for room. An exception from earlier work comes out here or from Finish, and no later work is done.
    void Post(std::function<void()> work);
    /// Waits until all is done.
    void Finish();

private:
    void Run();
    void ThrowFailure() REQUIRES(mMutex);

    const std::string mName;
    const std::size_t mMostWaiting;

    Mutex mMutex;
    ConditionVariable mChanged;
    std::deque<std::function<void()>> mWaiting GUARDED_BY(mMutex);
    bool mIsBusy GUARDED_BY(mMutex) = false;
    bool mIsStopped GUARDED_BY(mMutex) = false;
    std::exception_ptr mFailure GUARDED_BY(mMutex);

    /// The last member: it runs as soon as it is there.
    std::thread mThread;
};
}
