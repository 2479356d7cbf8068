#pragma once

#include <cstdint>
#include <string>

#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Guid.h"

namespace Profiler
{

/// The 16 bytes of a GUID as two little-endian halves: what is stored. Zero in both for none.
///
///     byte   0   1   2   3   4   5   6   7 | 8 ... 15
///            mData1        | mData2| mData3| mData4     of Utility::GUID
///            Data1                         | Data2
struct SerializableGUID
{
    uint64_t Data1 = 0;
    uint64_t Data2 = 0;

    bool operator==(const SerializableGUID&) const = default;

    static SerializableGUID sFromGUID(const Utility::GUID& guid);
    Utility::GUID ToGUID() const;

    /// "6B29FC40-CA47-1067-B31D-00DD010662DA".
    std::string ToString() const;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SerializableGUID>("Profiler::SerializableGUID", RTTI::Version{1},
            RTTI::Field<&SerializableGUID::Data1>{"Data1"}, RTTI::Field<&SerializableGUID::Data2>{"Data2"});
    }
};

}
