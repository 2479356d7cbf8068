#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Marks that let clang's thread safety analysis check the locking. This is the one header that asks the compiler what
// it is able to do: the marks mean nothing to others.
#if defined(__clang__)
#define THREAD_SAFETY_MARK(mark) __attribute__((mark))
#else
#define THREAD_SAFETY_MARK(mark)
#endif

#define CAPABILITY(name) THREAD_SAFETY_MARK(capability(name))
#define SCOPED_CAPABILITY THREAD_SAFETY_MARK(scoped_lockable)
#define GUARDED_BY(mutex) THREAD_SAFETY_MARK(guarded_by(mutex))
#define REQUIRES(...) THREAD_SAFETY_MARK(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) THREAD_SAFETY_MARK(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_SAFETY_MARK(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) THREAD_SAFETY_MARK(try_acquire_capability(__VA_ARGS__))
#define EXCLUDES(...) THREAD_SAFETY_MARK(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS THREAD_SAFETY_MARK(no_thread_safety_analysis)

namespace Utility
{
class ConditionVariable;

/// std::mutex with the marks that make its use checkable. A thread that finds it held tries again for some
/// microseconds before it goes to sleep: most locks are held for less, and to sleep and be woken costs more.
class CAPABILITY("mutex") Mutex
{
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() ACQUIRE()
    {
        if (!mMutex.try_lock())
        {
            LockHeld();
        }
    }
    void Unlock() RELEASE() { mMutex.unlock(); }
    [[nodiscard]] bool TryLock() TRY_ACQUIRE(true) { return mMutex.try_lock(); }

private:
    friend class ConditionVariable;

    void LockHeld();

    std::mutex mMutex;
};

/// A mutex that its holder may lock again.
class CAPABILITY("mutex") RecursiveMutex
{
public:
    RecursiveMutex() = default;
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void Lock() ACQUIRE() { mMutex.lock(); }
    void Unlock() RELEASE() { mMutex.unlock(); }
    [[nodiscard]] bool TryLock() TRY_ACQUIRE(true) { return mMutex.try_lock(); }

private:
    std::recursive_mutex mMutex;
};

/// Holds a mutex for its scope. It may let go of it in between: Unlock, then Lock again or leave the scope.
class SCOPED_CAPABILITY MutexLock
{
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.Lock(); }
    ~MutexLock() RELEASE()
    {
        if (mIsHeld)
        {
            mMutex.Unlock();
        }
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Lock() ACQUIRE()
    {
        mMutex.Lock();
        mIsHeld = true;
    }
    void Unlock() RELEASE()
    {
        mIsHeld = false;
        mMutex.Unlock();
    }

private:
    Mutex& mMutex;
    bool mIsHeld = true;
};

class SCOPED_CAPABILITY RecursiveMutexLock
{
public:
    explicit RecursiveMutexLock(RecursiveMutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.Lock(); }
    ~RecursiveMutexLock() RELEASE() { mMutex.Unlock(); }
    RecursiveMutexLock(const RecursiveMutexLock&) = delete;
    RecursiveMutexLock& operator=(const RecursiveMutexLock&) = delete;

private:
    RecursiveMutex& mMutex;
};

/// Waits for a change of what a Mutex guards. Every wait may end early: test the condition in a loop around it, in the
/// function that holds the lock, where the analysis can see the guarded members.
class ConditionVariable
{
public:
    ConditionVariable() = default;
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    void NotifyOne() { mCondition.notify_one(); }
    void NotifyAll() { mCondition.notify_all(); }

    void Wait(Mutex& mutex) REQUIRES(mutex) NO_THREAD_SAFETY_ANALYSIS
    {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        mCondition.wait(lock);
        lock.release();
    }

    /// False when the time is up.
    template <typename Clock, typename Duration>
    bool WaitUntil(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& end)
        REQUIRES(mutex) NO_THREAD_SAFETY_ANALYSIS
    {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        const std::cv_status status = mCondition.wait_until(lock, end);
        lock.release();
        return status == std::cv_status::no_timeout;
    }

    /// False when the time is up.
    template <typename Rep, typename Period>
    bool WaitFor(Mutex& mutex, const std::chrono::duration<Rep, Period>& duration) REQUIRES(mutex)
    {
        return WaitUntil(mutex, std::chrono::steady_clock::now() + duration);
    }

private:
    std::condition_variable mCondition;
};
}
