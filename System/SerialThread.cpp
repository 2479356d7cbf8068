#include "System/SerialThread.h"

#include "System/ThreadName.h"

#include <utility>

namespace System
{
SerialThread::SerialThread(std::string name, std::size_t mostWaiting)
    : mName(std::move(name)),
      mMostWaiting(mostWaiting),
      mThread([this] { Run(); })
{}

SerialThread::~SerialThread()
{
    {
        const MutexLock lock(mMutex);
        mWaiting.clear();
        mIsStopped = true;
    }
    mChanged.NotifyAll();
    mThread.join();
}

void SerialThread::Post(std::function<void()> work)
{
    {
        const MutexLock lock(mMutex);
        while (mWaiting.size() >= mMostWaiting && mFailure == nullptr)
        {
            mChanged.Wait(mMutex);
        }
        ThrowFailure();
        mWaiting.push_back(std::move(work));
    }
    mChanged.NotifyAll();
}

void SerialThread::Finish()
{
    const MutexLock lock(mMutex);
    while ((mIsBusy || !mWaiting.empty()) && mFailure == nullptr)
    {
        mChanged.Wait(mMutex);
    }
    ThrowFailure();
}

void SerialThread::ThrowFailure()
{
    if (mFailure != nullptr)
    {
        std::rethrow_exception(mFailure);
    }
}

void SerialThread::Run()
{
    gSetThreadName(mName);
    MutexLock lock(mMutex);
    while (true)
    {
        while (mWaiting.empty() && !mIsStopped)
        {
            mChanged.Wait(mMutex);
        }
        if (mIsStopped)
        {
            return;
        }
        std::function<void()> work = std::move(mWaiting.front());
        mWaiting.pop_front();
        mIsBusy = true;
        lock.Unlock();
        std::exception_ptr failure;
        try
        {
            work();
        }
        catch (...)
        {
            failure = std::current_exception();
        }
        // What the work holds goes before anyone hears that it is done.
        work = nullptr;
        lock.Lock();
        mIsBusy = false;
        if (failure != nullptr)
        {
            mFailure = failure;
            mWaiting.clear();
        }
        mChanged.NotifyAll();
    }
}
}
