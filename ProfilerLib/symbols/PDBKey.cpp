#include "ProfilerLib/symbols/PDBKey.h"

#include <algorithm>

#include "Utility/Text.h"

namespace Profiler
{

PDBKey PDBKey::sMake(std::string_view path, int32_t timeStamp, int32_t size, int32_t age, const SerializableGUID& guid,
    std::string_view pdbName)
{
    std::string modulePath = Utility::gToLower(path);
    std::replace(modulePath.begin(), modulePath.end(), '\\', '/');
    return {std::move(modulePath), timeStamp, size, age, guid, std::string{pdbName}};
}

bool PDBKey::IsDatabase() const
{
    return Utility::gEndsWith(".pdb", PDBName, false);
}

}
