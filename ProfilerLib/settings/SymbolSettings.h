#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Serialization/RTTI/TypeOf.h"

namespace Utility
{
class Result;
}

namespace Profiler
{

/// A place that the user looks for symbols in.
struct SymbolLocation
{
    std::string Name; ///< a path, or the URL of a server
    bool Enabled = false;

    bool operator==(const SymbolLocation&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SymbolLocation>("Profiler::SymbolLocation", RTTI::Version{1},
            RTTI::Field<&SymbolLocation::Name>{"Name"}, RTTI::Field<&SymbolLocation::Enabled>{"Enabled"});
    }
};

/// Where symbols come from and where they and captures go. Part of `Settings`; one thread at a time. What looks at
/// locations asks the file system each time, and may wait for a network path.
class SymbolSettings : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SymbolSettings>("Profiler::SymbolSettings", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&SymbolSettings::AllowCrashUploads>{"AllowCrashUploads"},
            RTTI::Field<&SymbolSettings::AutomaticallyCheckForUpdates>{"AutomaticallyCheckForUpdates"},
            RTTI::Field<&SymbolSettings::UseMicrosoftSymbolServers>{"UseMicrosoftSymbolServers"},
            RTTI::Field<&SymbolSettings::SymbolLocations>{"SymbolLocations"},
            RTTI::Field<&SymbolSettings::mSymbolCacheDirectory>{"SymbolCacheDirectory"},
            RTTI::Field<&SymbolSettings::CaptureTargetDirectory>{"CaptureTargetDirectory"});
    }

public:
    static constexpr const char* cPublicSymbolServer = "https://msdl.microsoft.com/download/symbols";

    bool AllowCrashUploads = true;
    bool AutomaticallyCheckForUpdates = true;
    bool UseMicrosoftSymbolServers = true;       ///< puts the public symbol server first in the search
    std::vector<SymbolLocation> SymbolLocations; ///< in the order of the search
    std::string CaptureTargetDirectory;          ///< where new captures go

    const RTTI::TypeHandle& GetType() const override;

    /// Makes what was read usable: both directories exist afterwards. False with the reason in `result`, with code 0,
    /// when one is not named or cannot be made.
    [[nodiscard]] bool PostLoad(Utility::Result& result);
    /// The two directories as they are before anyone has chosen others. Makes neither.
    void ResetToDefaults();

    /// Where downloaded symbols and converted files go.
    const std::string& GetSymbolCacheDirectory() const { return mSymbolCacheDirectory; }
    /// Takes both kinds of separator, and keeps the platform's.
    void SetSymbolCacheDirectory(const std::string& path);

    /// All that is searched, in order: the public server if it is in use, then each enabled location.
    std::vector<std::string> GetSymbolSearchPaths() const;
    /// The search paths that are folders of their own and no server's store.
    std::vector<std::string> GetLocalSymbolDirectories() const;
    /// The servers among the search paths as one text for a symbol engine: "srv*CACHE*SERVER;srv*CACHE*SERVER".
    std::string GetSymbolServerPath() const;
    /// XXH64 of the cache directory and all search paths: it changes when other symbols may be found.
    uint64_t GetHash() const;

    /// True for what begins with "http" in just this spelling, and for a folder that holds "pingme.txt", as the store
    /// of a symbol server does.
    static bool IsSymbolServer(const std::string& location);
    /// Of these, one on the network rather than a folder.
    static bool IsServerAddress(std::string_view location);

private:
    std::string mSymbolCacheDirectory;
};

}
