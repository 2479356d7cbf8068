#pragma once

#include "Utility/FailingFileCalls.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <system_error>
#include <vector>

/// Errors of the disk, injected into a writer at each of its operations in turn.
namespace FileSystem::Internal
{
/// One way for a disk to fail.
struct DiskFailure
{
    const char* mTitle;
    std::errc mReason;
    bool mPersists;
    /// Bytes that one call moves at most, so that a file takes several writes. The one that fails is torn in half.
    std::size_t mLongestTransfer;
};

constexpr DiskFailure cDiskFailures[] = {
    {"full disk, once", std::errc::no_space_on_device, false, FailingFileCalls::sNever},
    {"full disk from there on", std::errc::no_space_on_device, true, FailingFileCalls::sNever},
    {"I/O error, once", std::errc::io_error, false, FailingFileCalls::sNever},
    {"I/O error from there on", std::errc::io_error, true, FailingFileCalls::sNever},
    {"full disk amid short writes, once", std::errc::no_space_on_device, false, 300},
};

/// What is tried on failing disks.
struct TriedWriter
{
    /// The folder that all happens in.
    const TemporaryFolder& mFolder;
    /// What may be in it afterwards: files by their path in the folder, or folders with what is in them.
    std::vector<std::string> mEntries;
    /// On a sound disk, before each try.
    std::function<void()> mPrepare;
    /// False with the reason in the result, which names a file. It may also cope with a failure.
    std::function<bool(Utility::Result&)> mWrite;
    /// On a sound disk again, after each try, whether it was successful or not. This is where the next try succeeds.
    std::function<void(bool isWritten)> mCheck;
};

/// Tries the writer on a disk that fails in operation k, for every k that it gets to and in every way, and checks what
/// holds for all writers: a failure is reported with file and reason, no file stays open, and nothing lies in the
/// folder that does not belong there. Returns the most operations that the writer took in one try.
inline int gTryOnFailingDisks(const TriedWriter& writer)
{
    int numOperations = 0;
    for (const DiskFailure& failure : cDiskFailures)
    {
        bool hasFailed = true;
        for (int operation = 0; hasFailed; ++operation)
        {
            SCOPED_TRACE(::testing::Message() << failure.mTitle << ", at operation " << operation);
            FailingFileCalls calls;
            const ScopedFileCalls scope{calls};
            writer.mPrepare();
            const int numOpen = calls.GetNumOpen();

            calls.SetTearsWrites(true);
            calls.SetLongestTransfer(failure.mLongestTransfer);
            calls.FailAt(operation, static_cast<int>(failure.mReason), failure.mPersists);
            Utility::Result result;
            const bool isWritten = writer.mWrite(result);
            hasFailed = calls.HasFailed();
            numOperations = std::max(numOperations, hasFailed ? operation + 1 : 0);
            calls.Heal();

            EXPECT_TRUE(isWritten || hasFailed) << result.ToString();
            EXPECT_EQ(result.HasErrors(), !isWritten);
            if (!isWritten)
            {
                EXPECT_THAT(result.ToString(), ::testing::HasSubstr(writer.mFolder.GetPath()));
                EXPECT_THAT(result.ToString(),
                    ::testing::HasSubstr(std::generic_category().message(static_cast<int>(failure.mReason))));
            }
            EXPECT_EQ(calls.GetNumOpen(), numOpen);
            EXPECT_THAT(writer.mFolder.ListEntries(), ::testing::IsSubsetOf(writer.mEntries));
            writer.mCheck(isWritten);
            if (::testing::Test::HasFailure())
            {
                return numOperations;
            }
        }
    }
    return numOperations;
}

/// The same for a writer of one file, which is the old one or all of the new.
inline int gTryReplacingOnFailingDisks(
    const TemporaryFolder& folder, const std::string& name, const std::function<bool(Utility::Result&)>& write)
{
    FastFileCalls fast;
    std::string written;
    {
        const ScopedFileCalls scope{fast};
        Utility::Result result;
        EXPECT_TRUE(write(result)) << result.ToString();
        written = folder.Read(name);
    }
    const std::string old = "the old content";
    EXPECT_NE(written, old);
    const auto check = [&](bool isWritten) {
        EXPECT_THAT(folder.Read(name), ::testing::AnyOf(written, isWritten ? written : old));
        Utility::Result result;
        EXPECT_TRUE(write(result)) << result.ToString();
        EXPECT_EQ(folder.Read(name), written);
    };
    return gTryOnFailingDisks({folder, {name}, [&] { folder.Replace(name, old); }, write, check});
}
}
