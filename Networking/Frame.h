#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

/// Messages over a stream of bytes: a header of eight bytes, then the payload, and nothing in between.
///
///     byte  0 ... 3   length of the payload, little-endian
///           4 ... 6   zero when written, ignored when read
///           7         id of the message
namespace Networking
{

inline constexpr std::size_t cHeaderSize = 8;

/// A peer that announces more is not one of ours: it is dropped before anything is allocated for it.
inline constexpr uint32_t cMaxPayload = 256u << 20;

/// The header's bytes as one little-endian number.
constexpr uint64_t gMakeHeader(uint8_t id, uint32_t length)
{
    return uint64_t{id} << 56 | length;
}

struct Frame
{
    uint8_t mID = 0;
    std::span<const std::byte> mPayload;
};

/// Cuts what arrives from a peer into messages. Its buffer grows with the bytes that are there, not with those that a
/// header promises, up to the longest message; many short ones are taken with one read. One thread.
///
///     while (socket gives n bytes for reader.GetSpace())
///         for (reader.Commit(n); frame = reader.Next();)
///             ...
///         if (reader.IsBroken()) ...
class FrameReader
{
public:
    /// Where the next bytes from the peer belong; never empty. Ends the life of the frames that `Next` gave.
    std::span<std::byte> GetSpace();
    /// The first `count` bytes of that space have been filled.
    void Commit(std::size_t count);

    /// The next message that is there as a whole. Its payload lives until `GetSpace` or `Clear`.
    std::optional<Frame> Next();

    /// A header announced too long a payload: there is no telling where the next message starts.
    bool IsBroken() const { return mIsBroken; }

    /// Forgets all that arrived, and frees the buffer.
    void Clear();

    std::size_t GetCapacity() const { return mCapacity; }

private:
    std::size_t GetAvailable() const { return mEnd - mBegin; }
    void Reserve(std::size_t capacity);

    // The bytes that arrived and have not been given out: [mBegin, mEnd) of the buffer.
    std::unique_ptr<std::byte[]> mBuffer;
    std::size_t mCapacity = 0;
    std::size_t mBegin = 0;
    std::size_t mEnd = 0;
    std::size_t mNeeded = cHeaderSize; ///< bytes of the message at `mBegin`, as far as they are known
    bool mIsBroken = false;
};

}
