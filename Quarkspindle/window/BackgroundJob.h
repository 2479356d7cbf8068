#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include <QtCore/QObject>

#include "System/JobScheduler.h"

namespace Quarkspindle
{

/// One piece of work at a time on a job, whose outcome comes back to the thread of the widgets. A new one takes the
/// place of the one before, whose outcome is then dropped. The end cancels and waits, so what the work uses only has to
/// outlive this object. The thread of the widgets only.
class BackgroundJob
{
public:
    explicit BackgroundJob(System::JobScheduler& scheduler) : mScheduler{scheduler} {}
    BackgroundJob(const BackgroundJob&) = delete;
    BackgroundJob& operator=(const BackgroundJob&) = delete;
    ~BackgroundJob() { CancelAndWait(); }

    /// `work(cancelled)` runs on a job and returns a value; `done(value)` gets it on this thread, unless the work has
    /// been cancelled or replaced by then. Jobs of one `BackgroundJob` never run side by side.
    template <class Work, class Done>
    void Start(Work work, Done done)
    {
        Cancel();
        const uint64_t number = mNumber;
        mIsRunning = true;
        System::JobDescription description;
        description.mGroup = mHandle.mGroup;
        description.mPriority = mPriority;
        description.mWork = [this, number, work = std::move(work), done = std::move(done)](
                                const bool& cancelled) mutable {
            // Shared, since what is queued for another thread has to be copyable.
            auto value = std::make_shared<decltype(work(cancelled))>(work(cancelled));
            QMetaObject::invokeMethod(
                &mReceiver,
                [this, number, value, done = std::move(done)]() mutable {
                    if (number != mNumber)
                        return;
                    mIsRunning = false;
                    done(std::move(*value));
                },
                Qt::QueuedConnection);
        };
        mHandle = mScheduler.Schedule(std::move(description));
    }

    /// Does not wait; the outcome will not come.
    void Cancel()
    {
        ++mNumber;
        mIsRunning = false;
        mScheduler.Cancel({mHandle});
    }

    void CancelAndWait()
    {
        Cancel();
        mScheduler.Wait({mHandle}, true);
    }

    bool IsRunning() const { return mIsRunning; }

    /// Of the jobs from now on, see `System::JobDescription`.
    void SetPriority(uint8_t priority) { mPriority = priority; }

private:
    System::JobScheduler& mScheduler;
    System::JobHandle mHandle;
    QObject mReceiver;    ///< goes first: what is queued for it is then dropped
    uint64_t mNumber = 0; ///< of the latest work
    bool mIsRunning = false;
    uint8_t mPriority = 1;
};

}
