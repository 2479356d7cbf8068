#include "Networking/SendBuffer.h"

#include "Networking/Frame.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <utility>

namespace Networking
{

void SendBuffer::Open()
{
    const System::MutexLock lock{mLock};
    mWriteSize = 0;
    // That of a sender who has not yet noticed the end of the last connection.
    mLent = {};
    mIsOpen = true;
    ++mOpenings;
}

void SendBuffer::Close()
{
    const System::MutexLock lock{mLock};
    mIsOpen = false;
    mDataAvailable.NotifyAll();
    mSpaceAvailable.NotifyAll();
}

void SendBuffer::Send(uint8_t id, const void* data, uint32_t length)
{
    const System::MutexLock messageLock{mMessageLock};
    const System::MutexLock lock{mLock};
    const uint64_t header = gMakeHeader(id, length);
    if (!mIsOpen || !WaitForSpace(cHeaderSize))
        return;
    Append(std::as_bytes(std::span{&header, 1}));
    if (data == nullptr)
        return;
    std::span<const std::byte> rest{static_cast<const std::byte*>(data), length};
    while (!rest.empty() && WaitForSpace(1))
    {
        const std::size_t count = std::min<std::size_t>(cBufferSize - mWriteSize, rest.size());
        Append(rest.first(count));
        rest = rest.subspan(count);
        if (rest.size() > cBufferSize)
            return Lend(rest);
    }
}

void SendBuffer::Lend(std::span<const std::byte> bytes)
{
    const uint64_t opening = mOpenings;
    mLent = bytes;
    mDataAvailable.NotifyOne();
    while (!mLent.empty() && (mIsLentTaken || (mIsOpen && mOpenings == opening)))
        mSpaceAvailable.Wait(mLock);
    mLent = {};
}

std::span<const std::byte> SendBuffer::Take()
{
    const System::MutexLock lock{mLock};
    if (std::exchange(mIsLentTaken, false))
    {
        mLent = {};
        mSpaceAvailable.NotifyAll();
    }
    while (mWriteSize == 0 && mLent.empty() && mIsOpen)
        mDataAvailable.Wait(mLock);
    if (mWriteSize == 0 && !mLent.empty() && mIsOpen)
    {
        mIsLentTaken = true;
        return mLent;
    }
    // Closed, and perhaps before there was any memory.
    if (mWriteSize == 0)
        return {};
    const std::span<const std::byte> taken{mMemory.get() + (mIsSecondWritten ? cBufferSize : 0), mWriteSize};
    mIsSecondWritten = !mIsSecondWritten;
    mWriteSize = 0;
    mSpaceAvailable.NotifyAll();
    return taken;
}

bool SendBuffer::WaitForSpace(uint32_t count)
{
    const uint64_t opening = mOpenings;
    while (mIsOpen && mOpenings == opening && mWriteSize + count > cBufferSize)
        mSpaceAvailable.Wait(mLock);
    return mIsOpen && mOpenings == opening;
}

void SendBuffer::Append(std::span<const std::byte> bytes)
{
    assert(mWriteSize + bytes.size() <= cBufferSize);
    if (mMemory == nullptr)
        mMemory.reset(new std::byte[2 * std::size_t{cBufferSize}]);
    std::memcpy(mMemory.get() + (mIsSecondWritten ? cBufferSize : 0) + mWriteSize, bytes.data(), bytes.size());
    mWriteSize += static_cast<uint32_t>(bytes.size());
    mDataAvailable.NotifyOne();
}

}
