#pragma once

#include <cstdint>
#include <string>

namespace FileSystem
{
enum class EFileOperation : std::uint8_t
{
    None,
    Open,
    GetSize,
    Read,
    Write,
    Truncate,
    Sync,
    Close,
    Rename,
    SyncDirectory,
    CreateDirectory,
};

/// What failed, on which file, and the reason that the system gave.
struct FileError
{
    EFileOperation mOperation = EFileOperation::None;
    /// The number by which the system names the reason; compare it with std::errc.
    int mNumber = 0;
    std::string mPath;

    bool operator==(const FileError&) const = default;

    /// The system's text alone, "No space left on device".
    std::string GetReason() const;
    /// "Unable to write /data/events.dat: No space left on device". Empty when nothing failed.
    std::string ToString() const;
};
}
