#include "ProfilerLib/session/DeferredChunkWriter.h"

#include "Serialization/Error.h"
#include "Utility/Result.h"

#include <memory>
#include <utility>

namespace Profiler
{

DeferredChunkWriter::DeferredChunkWriter(std::string path)
    : mPath{std::move(path)},
      mThread{"Event Writer", cNumWaiting}
{}

bool DeferredChunkWriter::Write(Utility::OutputMemoryStream& bytes, Utility::Result& result)
{
    // Work has to be copyable, a stream is not.
    auto piece = std::make_shared<Utility::OutputMemoryStream>(std::move(bytes));
    {
        const Utility::MutexLock lock{mMutex};
        if (!mBuffers.empty())
        {
            bytes = std::move(mBuffers.back());
            mBuffers.pop_back();
        }
    }
    const std::uint64_t offset = mSize;
    mSize += piece->GetSize();
    mNeedsSync = true;
    mThread.Post([this, piece, offset] { WritePiece(*piece, offset); });
    return Check(result);
}

void DeferredChunkWriter::StartSync()
{
    if (!std::exchange(mNeedsSync, false))
    {
        return;
    }
    mThread.Post([this] {
        FileSystem::FileError error;
        if (!Open(error) || !mFile.Sync(error))
        {
            NoteFailure(error);
        }
    });
}

bool DeferredChunkWriter::Finish(Utility::Result& result)
{
    StartSync();
    mThread.Finish();
    return Check(result);
}

void DeferredChunkWriter::WritePiece(Utility::OutputMemoryStream& bytes, std::uint64_t offset)
{
    {
        const Utility::MutexLock lock{mMutex};
        if (mError.mOperation != FileSystem::EFileOperation::None)
        {
            return;
        }
    }
    FileSystem::FileError error;
    if (!Open(error) || !mFile.WriteAt(offset, bytes.GetData(), error))
    {
        NoteFailure(error);
        return;
    }
    mFile.StartWriteback(offset, bytes.GetSize());
    bytes.Clear();
    const Utility::MutexLock lock{mMutex};
    mBuffers.push_back(std::move(bytes));
}

/// With the first piece, so that nothing is there before there is something to write.
bool DeferredChunkWriter::Open(FileSystem::FileError& error)
{
    return mFile.IsOpen() || (mFile.Open(mPath, error) && mFile.Truncate(0, error));
}

void DeferredChunkWriter::NoteFailure(const FileSystem::FileError& error)
{
    const Utility::MutexLock lock{mMutex};
    if (mError.mOperation == FileSystem::EFileOperation::None)
    {
        mError = error;
    }
}

bool DeferredChunkWriter::Check(Utility::Result& result)
{
    const Utility::MutexLock lock{mMutex};
    return mError.mOperation == FileSystem::EFileOperation::None ||
           result.Fail(Serialization::Unspecified, "Unable to write event stream %s. Error: %s", mPath.c_str(),
               mError.GetReason().c_str());
}

}
