#include "ProfilerLib/settings/Settings.h"

#include "Serialization/JsonFormat.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

namespace
{

/// The object as it was read, or a new one.
template <class T>
std::unique_ptr<T> TakeOrMake(std::vector<std::unique_ptr<RTTI::Object>>& objects, const char* what, bool& isMissing)
{
    std::unique_ptr<T> object = Serialization::gTakeFirst<T>(objects);
    isMissing = object == nullptr;
    if (isMissing)
    {
        Utility::gTrace("No %s settings, reverting to default", what);
        object = std::make_unique<T>();
    }
    return object;
}

template <class T>
bool CheckLoaded(T& settings, const char* what)
{
    Utility::Result result;
    if (settings.PostLoad(result))
        return true;
    Utility::gTrace("PostLoad of %s settings failed: %s", what, result.ToString().c_str());
    return false;
}

}

Settings::Settings()
    : mSymbolSettings(std::make_unique<SymbolSettings>()),
      mInputSettings(std::make_unique<InputSettings>()),
      mAdvancedSettings(std::make_unique<AdvancedSettings>())
{}

Settings::~Settings() = default;

bool Settings::Load(const std::string& path, const RTTI::TypeRegistry& registry)
{
    mPath = path;
    Utility::Result result;
    std::vector<std::unique_ptr<RTTI::Object>> objects;
    const bool isRead = Serialization::gReadJsonFile(path, registry, RTTI::ObjectFactory{}, objects, result);
    mIsFileUnreadable = !isRead && FileSystem::gFileExists(path);
    if (isRead)
    {
        Utility::gTrace("Read json settings file %s", path.c_str());
    }
    else
    {
        Utility::gTrace("Could not read json settings file %s. Error: %s", path.c_str(), result.ToString().c_str());
        objects.clear();
    }

    bool isSymbolsMissing = false;
    bool isInputMissing = false;
    bool isAdvancedMissing = false;
    mSymbolSettings = TakeOrMake<SymbolSettings>(objects, "symbol", isSymbolsMissing);
    mInputSettings = TakeOrMake<InputSettings>(objects, "input", isInputMissing);
    mAdvancedSettings = TakeOrMake<AdvancedSettings>(objects, "advanced", isAdvancedMissing);
    if (isSymbolsMissing)
        mSymbolSettings->ResetToDefaults();

    const bool isComplete = !isSymbolsMissing && !isInputMissing;
    const bool areSymbolsUsable = isComplete && CheckLoaded(*mSymbolSettings, "symbol");
    // In any case: only then can the keys that were read be looked up.
    const bool isInputUsable = CheckLoaded(*mInputSettings, "input");
    if (!areSymbolsUsable || !isInputUsable)
        return false;
    Utility::gTrace("All settings successfully read and verified");
    ChangeListeners.Fire();
    return true;
}

bool Settings::Save()
{
    Utility::Result result;
    const bool isSaved = KeepUnreadableFile(result) && WriteFile(result);
    if (isSaved)
        Utility::gTrace("Settings file: %s was saved correctly", mPath.c_str());
    else
        Utility::gTrace("There was an error writing settings file: %s: %s", mPath.c_str(), result.ToString().c_str());
    return isSaved;
}

bool Settings::KeepUnreadableFile(Utility::Result& result)
{
    if (!mIsFileUnreadable)
        return true;
    const std::string copy = mPath + ".unreadable";
    if (!result.Check(FileSystem::gCopyFile(mPath, copy), 0, "Unable to keep the unreadable file as %s", copy.c_str()))
        return false;
    mIsFileUnreadable = false;
    return true;
}

bool Settings::WriteFile(Utility::Result& result) const
{
    const std::string folder = FileSystem::gGetDirectory(mPath);
    if (!folder.empty() &&
        !result.Check(FileSystem::gCreateDirectoryTree(folder), 0, "Unable to create folder %s", folder.c_str()))
        return false;
    return Serialization::gWriteJsonFile(
        mPath, {mSymbolSettings.get(), mInputSettings.get(), mAdvancedSettings.get()}, result);
}

}
