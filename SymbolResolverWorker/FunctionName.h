#pragma once

#include <string>

namespace Symbols
{

/// A linker's name as people read it: the version behind "@" is left out, and a C++ name is written out. One that is no
/// such name comes back as it is; so does what is longer than 64 KiB, cut there, since writing it out may take very
/// long.
std::string gMakeReadable(const char* linkerName);

}
