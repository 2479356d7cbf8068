#include "Quarkspindle/SettingsPath.h"

#include "Utility/FileSystem.h"
#include "Utility/Path.h"

namespace Quarkspindle
{

std::string gGetSettingsPath()
{
    return FileSystem::gCombinePath(FileSystem::gGetKnownFolder(0), "quarkspindle/settings.json");
}

}
