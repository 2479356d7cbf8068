#include "ProfilerLib/symbols/SerializableGUID.h"

#include <cstddef>

namespace Profiler
{

SerializableGUID SerializableGUID::sFromGUID(const Utility::GUID& guid)
{
    SerializableGUID halves;
    halves.Data1 = guid.mData1 | uint64_t{guid.mData2} << 32 | uint64_t{guid.mData3} << 48;
    for (std::size_t i = 0; i < guid.mData4.size(); ++i)
        halves.Data2 |= uint64_t{guid.mData4[i]} << (8 * i);
    return halves;
}

Utility::GUID SerializableGUID::ToGUID() const
{
    Utility::GUID guid;
    guid.mData1 = static_cast<uint32_t>(Data1);
    guid.mData2 = static_cast<uint16_t>(Data1 >> 32);
    guid.mData3 = static_cast<uint16_t>(Data1 >> 48);
    for (std::size_t i = 0; i < guid.mData4.size(); ++i)
        guid.mData4[i] = static_cast<uint8_t>(Data2 >> (8 * i));
    return guid;
}

std::string SerializableGUID::ToString() const
{
    return Utility::gFormatGUID(ToGUID());
}

}
