#include "Utility/Guid.h"

#include "Utility/Format.h"

namespace Utility
{
std::string gFormatGUID(const GUID& guid)
{
    const auto& data4 = guid.mData4;
    return gFormat("%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", guid.mData1, guid.mData2, guid.mData3, data4[0],
        data4[1], data4[2], data4[3], data4[4], data4[5], data4[6], data4[7]);
}
}
