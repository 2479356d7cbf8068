#include "Importers/ThreadTable.h"

#include <algorithm>

namespace Importers
{
std::uint32_t ThreadTable::FindProcess(const TraceID& id)
{
    const TraceID& key = id.IsMissing() ? TraceID::sFromNumber(0) : id;
    const auto [entry, isNew] = mProcessIndices.try_emplace(key, static_cast<std::uint32_t>(mProcesses.size()));
    if (isNew)
    {
        mProcesses.emplace_back().mID = key;
    }
    return entry->second;
}

std::uint32_t ThreadTable::FindThread(const TraceID& process, const TraceID& thread)
{
    const std::uint32_t processIndex = FindProcess(process);
    const TraceID& key = thread.IsMissing() ? mProcesses[processIndex].mID : thread;
    const auto [entry, isNew] =
        mThreadIndices.try_emplace({processIndex, key}, static_cast<std::uint32_t>(mThreads.size()));
    if (isNew)
    {
        TraceThread& added = mThreads.emplace_back();
        added.mProcess = processIndex;
        added.mID = key;
    }
    return entry->second;
}

std::uint32_t ThreadTable::FindAsyncThread(std::uint32_t process, std::string_view category)
{
    const auto [entry, isNew] =
        mAsyncIndices.try_emplace({process, std::string(category)}, static_cast<std::uint32_t>(mThreads.size()));
    if (isNew)
    {
        TraceThread& added = mThreads.emplace_back();
        added.mProcess = process;
        added.mIsAsync = true;
        added.mCategory = category;
    }
    return entry->second;
}

std::vector<std::uint32_t> ThreadTable::GetSortedThreads() const
{
    std::vector<std::uint32_t> indices;
    for (std::uint32_t i = 0; i < mThreads.size(); ++i)
    {
        if (mThreads[i].mIntervals.GetSize() != 0)
        {
            indices.push_back(i);
        }
    }
    const auto getKey = [this](std::uint32_t index) {
        const TraceThread& thread = mThreads[index];
        return std::tie(mProcesses[thread.mProcess].mID, thread.mIsAsync, thread.mID, thread.mCategory);
    };
    std::sort(
        indices.begin(), indices.end(), [&getKey](std::uint32_t a, std::uint32_t b) { return getKey(a) < getKey(b); });
    return indices;
}
}
