#pragma once

#include "Utility/FileCalls.h"

#include <algorithm>
#include <atomic>
#include <limits>

namespace FileSystem::Internal
{
/// A disk that fails on demand, for tests. Each call but Remove is one operation, counted from 0. Thread-safe while its
/// settings are left alone.
class FailingFileCalls : public FileCalls
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

    /// The operations since the last FailAt.
    int GetCount() const { return mCount; }

    int Open(const char* path, EOpenMode mode) override { return Fails() ? -mNumber : FileCalls::Open(path, mode); }
    std::int64_t Read(int file, void* target, std::size_t count, std::uint64_t offset) override
    {
        return Fails() ? -mNumber : FileCalls::Read(file, target, std::min(count, mLongestTransfer), offset);
    }
    std::int64_t Write(int file, const void* source, std::size_t count, std::uint64_t offset) override
    {
        count = std::min(count, mLongestTransfer);
        if (!Fails())
        {
            return FileCalls::Write(file, source, count, offset);
        }
        if (mTearsWrites)
        {
            FileCalls::Write(file, source, count / 2, offset);
        }
        return -mNumber;
    }
    std::int64_t GetSize(int file) override { return Fails() ? -mNumber : FileCalls::GetSize(file); }
    int Truncate(int file, std::uint64_t size) override { return Fails() ? -mNumber : FileCalls::Truncate(file, size); }
    int Sync(int file) override { return Fails() ? -mNumber : FileCalls::Sync(file); }
    int Close(int file) override
    {
        const int result = FileCalls::Close(file);
        return Fails() ? -mNumber : result;
    }
    int CopyPermissions(int file, const char* from) override
    {
        return Fails() ? -mNumber : FileCalls::CopyPermissions(file, from);
    }
    int Rename(const char* from, const char* to) override { return Fails() ? -mNumber : FileCalls::Rename(from, to); }
    int SyncDirectory(const char* path) override { return Fails() ? -mNumber : FileCalls::SyncDirectory(path); }

private:
    bool Fails()
    {
        const int operation = mCount++;
        return operation == mFirst || (mPersists && operation > mFirst);
    }

    std::atomic<int> mCount = 0;
    int mFirst = sNever;
    int mNumber = 0;
    bool mPersists = false;
    bool mTearsWrites = false;
    std::size_t mLongestTransfer = std::numeric_limits<std::size_t>::max();
};
}
