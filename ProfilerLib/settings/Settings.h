#pragma once

#include <memory>
#include <string>

#include "ProfilerLib/settings/AdvancedSettings.h"
#include "ProfilerLib/settings/InputSettings.h"
#include "ProfilerLib/settings/SymbolSettings.h"
#include "Utility/Event.h"

namespace RTTI
{
class TypeRegistry;
}

namespace Profiler
{

/// The user's settings: one JSON file with three objects, which `docs/format/settings-file.md` shows. The host owns it,
/// loads and saves it; the GUI thread only. There always is a complete set. `Load` replaces the objects, so a reference
/// to one does not outlive the next `Load`.
class Settings
{
public:
    /// Fired when settings have been loaded, and by whoever has changed them: on that thread, under the event's mutex.
    Event<> ChangeListeners;

    Settings();
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;
    ~Settings();

    /// Reads the file and replaces all three objects: those that it lacks are made with their defaults, and all are
    /// when it cannot be read. False when it was not complete and valid, with the reason in the log; the first run,
    /// without a file, is such a case. The file stays as it is. `registry` holds the types of `gRegisterSettingsTypes`.
    bool Load(const std::string& path, const RTTI::TypeRegistry& registry);

    /// Writes the file of the last `Load` as a whole, with its folder when there is none. A file that could not be read
    /// is first kept beside it, under its name and ".unreadable". False, with the reason in the log, when what was
    /// there before is still there.
    bool Save();

    SymbolSettings& GetSymbolSettings() { return *mSymbolSettings; }
    const SymbolSettings& GetSymbolSettings() const { return *mSymbolSettings; }
    InputSettings& GetInputSettings() { return *mInputSettings; }
    const InputSettings& GetInputSettings() const { return *mInputSettings; }
    AdvancedSettings& GetAdvancedSettings() { return *mAdvancedSettings; }
    const AdvancedSettings& GetAdvancedSettings() const { return *mAdvancedSettings; }
    const std::string& GetPath() const { return mPath; }

private:
    /// What a person has written and mistyped must not be lost to the next change of a setting.
    [[nodiscard]] bool KeepUnreadableFile(Utility::Result& result);
    [[nodiscard]] bool WriteFile(Utility::Result& result) const;

    std::unique_ptr<SymbolSettings> mSymbolSettings;
    std::unique_ptr<InputSettings> mInputSettings;
    std::unique_ptr<AdvancedSettings> mAdvancedSettings;
    std::string mPath;
    /// The file holds something that none of the objects came from.
    bool mIsFileUnreadable = false;
};

}
