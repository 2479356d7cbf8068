#pragma once

#include <string>
#include <vector>

namespace Symbols
{

/// The files whose path equals `path` but for the case of letters; the exact one first. Keys have paths in lower case,
/// and this is a system that tells them apart. At most 16.
std::vector<std::string> gFindIgnoringCase(const std::string& path);

}
