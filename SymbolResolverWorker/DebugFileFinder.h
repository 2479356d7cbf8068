#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Symbols
{

class ElfFile;
class JobControl;

/// Finds the debug file that was split off from an ELF image, on this machine: by build-id in the system's folder of
/// debug files and in the user's directories, or by the name that the image gives, beside the image, in ".debug" there,
/// in the system's folder and in the user's. Only a file with the same build-id, or where the image has none with the
/// checksum that it gives, is taken. Null when there is none.
std::unique_ptr<ElfFile> gFindDebugFile(
    const ElfFile& image, const std::vector<std::string>& localDirectories, const JobControl& control);

/// A file as the debug file of that image; null when it can't be read or is that of another build.
std::unique_ptr<ElfFile> gOpenDebugFile(const std::string& path, const ElfFile& image);

}
