#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ProfilerLib/settings/SymbolSettings.h"

namespace Symbols
{

/// A place that keeps symbols for others, and the folder that what comes from there is kept in.
struct SymbolServer
{
    std::string mCacheDirectory;
    std::string mLocation; ///< a URL, or the folder of a store

    bool operator==(const SymbolServer&) const = default;

    bool IsOnNetwork() const { return Profiler::SymbolSettings::IsServerAddress(mLocation); }
};

/// Where a job may look for symbols, in this order: beside the image, in the user's folders, at the servers.
struct SymbolSearch
{
    std::vector<std::string> mLocalDirectories;
    std::vector<SymbolServer> mServers;
};

/// The servers of "srv*CACHE*LOCATION;srv*CACHE*LOCATION". A part of another form is left out.
std::vector<SymbolServer> gParseSymbolServerPath(std::string_view path);

}
