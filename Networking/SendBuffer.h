#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "System/Mutex.h"

namespace Networking
{

/// What senders write into and one send thread takes from: two buffers that change places, so that the thread takes all
/// that has gathered in one step. What of a long message would fill a buffer again is not copied: its sender lends it
/// and waits until it has been sent. Other senders wait for the whole message. Any thread sends; the send thread takes.
class SendBuffer
{
public:
    static constexpr uint32_t cBufferSize = 10240;

    /// From now on messages are taken.
    void Open() EXCLUDES(mLock);

    /// No further message is taken, and waiting senders give theirs up, but for bytes that have been taken from them.
    /// What has gathered is still given out.
    void Close() EXCLUDES(mLock);

    /// Appends the header, and the payload unless `data` is null. Without `Open` the message is lost.
    void Send(uint8_t id, const void* data, uint32_t length) EXCLUDES(mMessageLock, mLock);

    /// Waits for bytes and gives all there are; they live until the next call. Empty once closed and given out.
    [[nodiscard]] std::span<const std::byte> Take() EXCLUDES(mLock);

private:
    /// Waits for room for `count` bytes, at most a buffer's; false when the buffers have been closed.
    [[nodiscard]] bool WaitForSpace(uint32_t count) REQUIRES(mLock);
    void Append(std::span<const std::byte> bytes) REQUIRES(mLock);
    void Lend(std::span<const std::byte> bytes) REQUIRES(mLock);

    /// Held for a whole message, so that no other one comes into its payload. Taken before `mLock`.
    System::Mutex mMessageLock;

    System::Mutex mLock;
    System::ConditionVariable mDataAvailable;
    System::ConditionVariable mSpaceAvailable;
    std::unique_ptr<std::byte[]> mMemory GUARDED_BY(mLock); ///< both buffers; made for the first message
    bool mIsSecondWritten GUARDED_BY(mLock) = false;        ///< which half is written; the other one is being sent
    uint32_t mWriteSize GUARDED_BY(mLock) = 0;
    std::span<const std::byte> mLent GUARDED_BY(mLock); ///< of a sender that waits; behind what is in the buffer
    bool mIsLentTaken GUARDED_BY(mLock) = false;        ///< it is being sent: its sender must not go on
    bool mIsOpen GUARDED_BY(mLock) = false;
    uint64_t mOpenings GUARDED_BY(mLock) = 0; ///< a sender that slept through a close and an open gives up too
};

}
