#include "Utility/Guid.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <sys/random.h>

namespace Utility
{
GUID gMakeGUID()
{
    static_assert(sizeof(GUID) == 16);
    std::byte bytes[sizeof(GUID)];
    std::size_t filled = 0;
    while (filled < sizeof(bytes))
    {
        const ssize_t count = getrandom(bytes + filled, sizeof(bytes) - filled, 0);
        if (count < 0 && errno != EINTR)
        {
            std::abort();
        }
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    GUID guid;
    std::memcpy(&guid, bytes, sizeof(guid));
    guid.mData3 = static_cast<std::uint16_t>((guid.mData3 & 0x0FFF) | 0x4000);
    guid.mData4[0] = static_cast<std::uint8_t>((guid.mData4[0] & 0x3F) | 0x80);
    return guid;
}
}
