#pragma once

#include "System/SerialThread.h"
#include "Utility/FileWriter.h"
#include "Utility/Mutex.h"
#include "Utility/OutputMemoryStream.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Utility
{
class Result;
}

namespace Profiler
{

/// Writes a new file front to back on a thread of its own, in pieces that come from a few buffers. Nothing is certain
/// to be on the disk before `Finish`. After a failure nothing more is written and every operation fails. One thread.
class DeferredChunkWriter
{
public:
    /// Bytes that are worth a call.
    static constexpr std::size_t cPieceSize = std::size_t{1} << 20;

    explicit DeferredChunkWriter(std::string path);

    /// Takes the bytes and leaves an empty stream. A failure may have come from earlier bytes.
    [[nodiscard]] bool Write(Utility::OutputMemoryStream& bytes, Utility::Result& result);
    /// Has all that was written brought to the disk, for Finish to wait for.
    void StartSync();
    /// Brings all that was written to the disk, the name of the file too. More may follow.
    [[nodiscard]] bool Finish(Utility::Result& result);
    /// Bytes that were taken so far.
    std::uint64_t GetSize() const { return mSize; }

private:
    static constexpr std::size_t cNumWaiting = 2;
    void WritePiece(Utility::OutputMemoryStream& bytes, std::uint64_t offset);
    bool Open(FileSystem::FileError& error);
    void NoteFailure(const FileSystem::FileError& error);
    bool Check(Utility::Result& result);

    const std::string mPath;
    std::uint64_t mSize = 0;
    /// Also for an empty file.
    bool mNeedsSync = true;

    Utility::Mutex mMutex;
    FileSystem::FileError mError GUARDED_BY(mMutex);
    std::vector<Utility::OutputMemoryStream> mBuffers GUARDED_BY(mMutex);

    // The thread's.
    FileSystem::AppendFile mFile;

    /// The last member: what it does uses all others.
    System::SerialThread mThread;
};

}
