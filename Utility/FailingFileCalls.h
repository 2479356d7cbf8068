#pragma once

#include "Utility/FileCalls.h"
#include "Utility/Mutex.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <map>
#include <string>
#include <vector>

/// Disks for tests. Both are thread-safe while their settings are left alone.
namespace FileSystem::Internal
{
/// A disk that is never waited for.
class FastFileCalls : public FileCalls
{
public:
    int Sync(int) override { return 0; }
    void StartWriteback(int, std::uint64_t, std::uint64_t) override {}
    int SyncDirectory(const char*) override { return 0; }
    int Rename(const char* from, const char* to) override
    {
        // Some file systems flush a file that replaces another.
        if (!mReplacesAtOnce)
        {
            FileCalls::Remove(to);
        }
        return FileCalls::Rename(from, to);
    }

    int Truncate(int file, std::uint64_t size) override
    {
        // Some file systems flush a file that was cut to nothing, even if it was empty.
        return FileCalls::GetSize(file) == static_cast<std::int64_t>(size) ? 0 : FileCalls::Truncate(file, size);
    }

    /// For tests with readers beside the writer: a file that is replaced is never missing.
    bool mReplacesAtOnce = false;
};

/// A fast disk that fails on demand. Each call but the two that remove is one operation, counted from 0.
///
/// When a flush fails, what was written to the file since the last good one is lost, although the next flush would
/// succeed: so do systems that are short of memory. Here its bytes are overwritten at once.
class FailingFileCalls : public FastFileCalls
{
public:
    static constexpr int sNever = std::numeric_limits<int>::max();

    /// From now on: counts anew, and operation `first`, with all that follow if `persists`, fails with the error
    /// `number`.
    void FailAt(int first, int number, bool persists)
    {
        mCount = 0;
        mFirst = first;
        mNumber = number;
        mPersists = persists;
    }
    void Heal() { FailAt(sNever, 0, false); }

    /// A write that fails has put the first half of its bytes into the file.
    void SetTearsWrites(bool tears) { mTearsWrites = tears; }
    /// Reads and writes move at most this many bytes at once.
    void SetLongestTransfer(std::size_t count) { mLongestTransfer = count; }
    /// Nothing can be removed: the error for every attempt, or 0.
    void SetRemoveError(int number) { mRemoveError = number; }

    /// The operations since the last FailAt.
    int GetCount() const { return mCount; }
    bool HasFailed() const { return mCount > mFirst; }
    /// Files that were opened with these calls and not closed.
    int GetNumOpen() const { return mNumOpen; }

    int Open(const char* path, EOpenMode mode) override
    {
        const int file = Fails() ? -mNumber : FileCalls::Open(path, mode);
        if (file >= 0)
        {
            ++mNumOpen;
            const Utility::MutexLock lock{mMutex};
            mPaths[file] = path;
        }
        return file;
    }
    std::int64_t Read(int file, void* target, std::size_t count, std::uint64_t offset) override
    {
        return Fails() ? -mNumber : FileCalls::Read(file, target, std::min(count, mLongestTransfer), offset);
    }
    std::int64_t Write(int file, const void* source, std::size_t count, std::uint64_t offset) override
    {
        count = std::min(count, mLongestTransfer);
        const bool fails = Fails();
        const std::int64_t written = !fails         ? FileCalls::Write(file, source, count, offset)
                                     : mTearsWrites ? FileCalls::Write(file, source, count / 2, offset)
                                                    : 0;
        if (written > 0)
        {
            const Utility::MutexLock lock{mMutex};
            Range& unsynced = mUnsynced[mPaths[file]];
            unsynced.mBegin = std::min(unsynced.mBegin, offset);
            unsynced.mEnd = std::max(unsynced.mEnd, offset + static_cast<std::uint64_t>(written));
        }
        return fails ? -mNumber : written;
    }
    std::int64_t GetSize(int file) override { return Fails() ? -mNumber : FileCalls::GetSize(file); }
    int Truncate(int file, std::uint64_t size) override
    {
        return Fails() ? -mNumber : FastFileCalls::Truncate(file, size);
    }
    int Sync(int file) override
    {
        const bool fails = Fails();
        const Utility::MutexLock lock{mMutex};
        const auto unsynced = mUnsynced.find(mPaths[file]);
        if (unsynced != mUnsynced.end())
        {
            if (fails)
            {
                Overwrite(file, unsynced->second);
            }
            mUnsynced.erase(unsynced);
        }
        return fails ? -mNumber : FastFileCalls::Sync(file);
    }
    int Close(int file) override
    {
        const int result = FileCalls::Close(file);
        --mNumOpen;
        return Fails() ? -mNumber : result;
    }
    int CopyPermissions(int file, const char* from) override
    {
        return Fails() ? -mNumber : FileCalls::CopyPermissions(file, from);
    }
    int Rename(const char* from, const char* to) override
    {
        return Fails() ? -mNumber : FastFileCalls::Rename(from, to);
    }
    int RenameWithoutReplacing(const char* from, const char* to) override
    {
        return Fails() ? -mNumber : FileCalls::RenameWithoutReplacing(from, to);
    }
    int Exchange(const char* a, const char* b) override { return Fails() ? -mNumber : FileCalls::Exchange(a, b); }
    int CreateDirectory(const char* path) override { return Fails() ? -mNumber : FileCalls::CreateDirectory(path); }
    int SyncDirectory(const char* path) override { return Fails() ? -mNumber : FastFileCalls::SyncDirectory(path); }
    int Remove(const char* path) override { return mRemoveError != 0 ? -mRemoveError : FileCalls::Remove(path); }
    int RemoveDirectory(const char* path) override
    {
        return mRemoveError != 0 ? -mRemoveError : FileCalls::RemoveDirectory(path);
    }

private:
    struct Range
    {
        std::uint64_t mBegin = std::numeric_limits<std::uint64_t>::max();
        std::uint64_t mEnd = 0;
    };

    bool Fails()
    {
        const int operation = mCount++;
        return operation == mFirst || (mPersists && operation > mFirst);
    }

    void Overwrite(int file, const Range& range)
    {
        // No further than the file, which may have been cut.
        const std::int64_t size = FileCalls::GetSize(file);
        const std::uint64_t end = std::min(range.mEnd, static_cast<std::uint64_t>(std::max<std::int64_t>(size, 0)));
        if (range.mBegin < end)
        {
            const std::vector<char> lost(static_cast<std::size_t>(end - range.mBegin), '\xAA');
            FileCalls::Write(file, lost.data(), lost.size(), range.mBegin);
        }
    }

    std::atomic<int> mCount = 0;
    std::atomic<int> mNumOpen = 0;
    int mFirst = sNever;
    int mNumber = 0;
    bool mPersists = false;
    bool mTearsWrites = false;
    int mRemoveError = 0;
    std::size_t mLongestTransfer = std::numeric_limits<std::size_t>::max();

    Utility::Mutex mMutex;
    /// By descriptor.
    std::map<int, std::string> mPaths GUARDED_BY(mMutex);
    /// By path: what a flush would bring to the disk.
    std::map<std::string, Range> mUnsynced GUARDED_BY(mMutex);
};
}
