#pragma once

#include <string>
#include <string_view>

namespace Symbols
{

/// A linker's name as people read it: a C++ name is written out. One that is no such name comes back as it is; so does
/// what is longer than 64 KiB, cut there, since writing it out may take very long.
std::string gMakeReadable(std::string_view linkerName);

/// The name without the version that a symbol of an ELF file may have behind "@".
std::string_view gCutVersion(std::string_view linkerName);

}
