#pragma once

#include <cstdint>
#include <vector>

namespace System
{
struct Job;

/// Jobs in execution order: ascending priority number, and ascending sequence number within a priority. A linked list
/// through the jobs, with the last job of each priority at hand, so that all operations but one cost a binary search
/// among the few priorities in use. Has no lock of its own: its scheduler's guards it.
class JobQueue
{
public:
    [[nodiscard]] bool IsEmpty() const { return mFirst == nullptr; }
    [[nodiscard]] Job* GetFirst() const { return mFirst; }

    /// Behind all jobs of the same or a lower priority number. The job's sequence number must be the largest so far.
    void Append(Job& job);

    /// Where its sequence number puts it within its priority: a step if that is the end, else searched for from the
    /// front.
    void InsertInOrder(Job& job);

    void Remove(Job& job);

private:
    struct Level
    {
        uint8_t mPriority;
        Job* mLast; ///< null while the priority has no job
    };

    Level& GetLevel(uint8_t priority);
    [[nodiscard]] Job* GetLastBefore(const Level& level) const;
    void InsertBehind(Job& job, Job* previous);

    Job* mFirst = nullptr;
    std::vector<Level> mLevels; ///< ascending; a priority that was once in use stays
};
}
