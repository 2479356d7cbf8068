#pragma once

#include "Importers/ThreadIntervals.h"
#include "Importers/TraceID.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace Importers
{
struct TraceProcess
{
    TraceID mID;
    /// Empty when the trace gives none.
    std::string mName;
    std::uint64_t mNumIntervals = 0;
    /// It has events that make intervals, or could.
    bool mHasEvents = false;
    bool mIsImported = true;
};

/// A thread of the trace, or the asynchronous operations of one category of a process.
struct TraceThread
{
    std::uint32_t mProcess = 0;
    bool mIsAsync = false;
    /// Missing for asynchronous operations.
    TraceID mID;
    /// The category of asynchronous operations; empty for a thread.
    std::string mCategory;
    /// The name that the trace gives the thread, or empty.
    std::string mName;
    ThreadIntervals mIntervals;
};

/// The processes and threads of a trace, in the order of their appearance, by their ids.
class ThreadTable
{
public:
    std::uint32_t FindProcess(const TraceID& id);
    /// The thread of an event with these ids: without a process it is that of number 0, without a thread it is named
    /// after its process.
    std::uint32_t FindThread(const TraceID& process, const TraceID& thread);
    std::uint32_t FindAsyncThread(std::uint32_t process, std::string_view category);

    // In blocks, since a hostile trace makes one of either for every event, and much larger than that is in the text.
    std::deque<TraceProcess>& GetProcesses() { return mProcesses; }
    std::deque<TraceThread>& GetThreads() { return mThreads; }
    TraceProcess& GetProcessOf(const TraceThread& thread) { return mProcesses[thread.mProcess]; }

    /// The threads that have intervals, in an order that depends on ids alone: by process, then threads before
    /// asynchronous operations, then by id or category.
    std::vector<std::uint32_t> GetSortedThreads() const;

private:
    std::deque<TraceProcess> mProcesses;
    std::deque<TraceThread> mThreads;
    std::map<TraceID, std::uint32_t> mProcessIndices;
    std::map<std::pair<std::uint32_t, TraceID>, std::uint32_t> mThreadIndices;
    std::map<std::pair<std::uint32_t, std::string>, std::uint32_t> mAsyncIndices;
};
}
