#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ProfilerLib/symbols/SerializableGUID.h"
#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

/// Which program database belongs to an image. Two keys are equal when all they hold is.
struct PDBKey
{
    std::string ModulePath; ///< of the image, in the spelling that `sMake` gives it
    int32_t ModuleTimeStamp = -1;
    int32_t ModuleSize = -1;
    int32_t PDBAge = -1;
    SerializableGUID PDBGUID;
    std::string PDBName; ///< file name or path, as the image spells it

    bool operator==(const PDBKey&) const = default;

    /// Whether the symbols are in a program database; else they are those of an ELF file.
    bool IsDatabase() const;

    /// A key for an image: the path goes in with lower-case letters and "/" between folders, so that the spellings of
    /// one path give one key.
    static PDBKey sMake(std::string_view path, int32_t timeStamp, int32_t size, int32_t age,
        const SerializableGUID& guid, std::string_view pdbName);

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<PDBKey>("Profiler::PDBKey", RTTI::Version{2},
            RTTI::Field<&PDBKey::ModulePath>{"ModulePath"}, RTTI::Field<&PDBKey::ModuleTimeStamp>{"ModuleTimeStamp"},
            RTTI::Field<&PDBKey::ModuleSize>{"ModuleSize"}, RTTI::Field<&PDBKey::PDBAge>{"PDBAge"},
            RTTI::Field<&PDBKey::PDBGUID>{"PDBGUID"}, RTTI::Field<&PDBKey::PDBName>{"PDBName"});
    }
};

}
