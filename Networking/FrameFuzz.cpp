#include "Networking/Frame.h"

#include "tests/support/FuzzTarget.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Networking
{

namespace
{

/// What the bytes hold, taken from all of them at once.
struct Expected
{
    std::vector<Frame> mFrames;
    bool mIsBroken = false;
};

Expected ReadAtOnce(std::span<const std::byte> bytes)
{
    Expected expected;
    while (bytes.size() >= cHeaderSize)
    {
        uint64_t header = 0;
        std::memcpy(&header, bytes.data(), sizeof(header));
        const std::size_t length = header & 0xFFFFFFFF;
        expected.mIsBroken = length > cMaxPayload;
        if (expected.mIsBroken || bytes.size() - cHeaderSize < length)
            break;
        expected.mFrames.push_back({static_cast<uint8_t>(header >> 56), bytes.subspan(cHeaderSize, length)});
        bytes = bytes.subspan(cHeaderSize + length);
    }
    return expected;
}

}

}

/// The first byte says in which pieces the others arrive.
void Fuzz::gRunInput(Input input)
{
    using namespace Networking;

    if (input.empty())
        return;
    const std::size_t most = std::size_t{1} << (std::to_integer<unsigned>(input[0]) % 20);
    Input bytes = input.subspan(1);
    const Expected expected = ReadAtOnce(bytes);
    std::size_t numFrames = 0;
    FrameReader reader;
    while (!bytes.empty() && !reader.IsBroken())
    {
        const std::span<std::byte> space = reader.GetSpace();
        gCheck(!space.empty(), "there is no space for what arrives");
        const std::size_t count = std::min({most, space.size(), bytes.size()});
        std::memcpy(space.data(), bytes.data(), count);
        reader.Commit(count);
        bytes = bytes.subspan(count);
        while (const auto frame = reader.Next())
        {
            gCheck(numFrames < expected.mFrames.size(), "there is a message too many");
            const Frame& other = expected.mFrames[numFrames++];
            gCheck(frame->mID == other.mID && std::ranges::equal(frame->mPayload, other.mPayload),
                "a message is not what was sent");
        }
    }
    gCheck(numFrames == expected.mFrames.size(), "a message has been lost");
    gCheck(reader.IsBroken() == expected.mIsBroken, "too long a message is taken, or a good one refused");
    gCheck(reader.GetCapacity() <= std::max<std::size_t>(64 * 1024, 2 * input.size()), "the buffer is too large");
}
