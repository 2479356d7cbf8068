#pragma once

#include <atomic>
#include <chrono>

namespace Utility
{
class Result;
}

namespace Symbols
{

/// What one job is told from outside while it works: that nobody wants it any more, or that its time is up. Readers ask
/// often and end soon. `Cancel` from any thread, the rest on the job's.
class JobControl
{
public:
    using Clock = std::chrono::steady_clock;

    JobControl() = default;
    explicit JobControl(Clock::duration limit) : mEnd{Clock::now() + limit} {}
    JobControl(const JobControl&) = delete;
    JobControl& operator=(const JobControl&) = delete;

    void Cancel() { mCancelled.store(true, std::memory_order_relaxed); }

    bool IsCancelled() const { return mCancelled.load(std::memory_order_relaxed); }
    bool IsOverdue() const { return Clock::now() >= mEnd; }
    bool ShouldStop() const { return IsCancelled() || IsOverdue(); }

    /// True to go on; otherwise false with the reason.
    [[nodiscard]] bool MayGoOn(Utility::Result& result) const;

private:
    // A flag by itself: nothing is published with it.
    std::atomic<bool> mCancelled = false;
    const Clock::time_point mEnd = Clock::time_point::max();
};

}
