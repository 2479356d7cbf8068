#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace System
{
enum class EJobCancellationState
{
    CancelRequested = 0, ///< the job has been marked cancelled
    CancelFinished = 1   ///< the job is over: it will not run, or its work has returned
};

/// Names a job of one scheduler. All ones in all three means no job; every operation takes that and leaves it alone.
struct JobHandle
{
    static constexpr uint32_t sNone = 0xFFFFFFFF;

    uint32_t mJobID = sNone; ///< unique per scheduler; the first job gets 1
    uint32_t mGroup = sNone; ///< jobs of one group never run at the same time
    uint32_t mChain = sNone; ///< the tree of jobs: a job belongs to that of the job that scheduled it

    [[nodiscard]] bool IsValid() const { return mJobID != sNone; }

    bool operator==(const JobHandle&) const = default;
};

/// What a caller fills in.
struct JobDescription
{
    using WorkFunction = std::function<void(const bool&)>;
    using CancellationFunction = std::function<void(EJobCancellationState)>;

    /// The job itself, never empty. It must not let an exception escape. Its parameter is a live view of the job's
    /// cancellation flag; poll it with `gIsCancelled`.
    WorkFunction mWork{};

    /// A group to exclude against, as a rule `JobHandle::mGroup` of an earlier job; all ones for a new one.
    uint32_t mGroup = JobHandle::sNone;

    /// Lower runs first. 1 is the default, 2 is for loading in the background, 0 for what has become urgent.
    uint8_t mPriority = 1;

    /// Told of the job's cancellation: once with each state, in their order, and never when the job is not cancelled.
    /// Called with the scheduler's lock held: it must be short and must not call the scheduler, nor may the destructors
    /// of what it holds. May be empty.
    CancellationFunction mCancellation{};
};

/// Reads the flag that a job's work receives. Another thread sets it while the work runs, so a plain read would be a
/// data race, one that a compiler may move out of a loop. Relaxed is enough: the flag carries no data.
[[nodiscard]] inline bool gIsCancelled(const bool& cancelled)
{
    return std::atomic_ref<bool>(const_cast<bool&>(cancelled)).load(std::memory_order_relaxed);
}
}
