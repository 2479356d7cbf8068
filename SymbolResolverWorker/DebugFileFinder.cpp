#include "SymbolResolverWorker/DebugFileFinder.h"

#include <algorithm>
#include <span>

#include <zlib.h>

#include "SymbolResolverWorker/ElfFile.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

constexpr const char* cSystemDirectory = "/usr/lib/debug";

/// ".build-id/ab/cdef.debug" for the build-id abcdef.
std::string MakeBuildIDName(std::span<const std::byte> buildID)
{
    std::string name = ".build-id/";
    for (std::size_t i = 0; i < buildID.size(); ++i)
        name += Utility::gFormat(i == 1 ? "/%02x" : "%02x", std::to_integer<unsigned>(buildID[i]));
    return name + ".debug";
}

bool HasChecksum(const ElfFile& file, uint32_t checksum, const JobControl& control)
{
    constexpr std::size_t cPiece = 16 << 20;
    uLong sum = crc32(0, nullptr, 0);
    for (auto rest = file.GetBytes(); !rest.empty();)
    {
        if (control.ShouldStop())
            return false;
        const std::size_t size = std::min(rest.size(), cPiece);
        sum = crc32(sum, reinterpret_cast<const Bytef*>(rest.data()), static_cast<uInt>(size));
        rest = rest.subspan(size);
    }
    return sum == checksum;
}

std::unique_ptr<ElfFile> OpenElf(const std::string& path)
{
    if (!FileSystem::gFileExists(path))
        return nullptr;
    Utility::Result result;
    auto file = std::make_unique<ElfFile>();
    if (file->Open(path, result))
        return file;
    Utility::gTrace("Debug file left out: %s", result.ToString().c_str());
    return nullptr;
}

/// Each place where a file of that name, which the image gives, may lie. It is a name, not a path.
std::vector<std::string> ListLinkedPaths(
    const ElfFile& image, const std::string& linkName, const std::vector<std::string>& localDirectories)
{
    const std::string name = FileSystem::gGetFileName(linkName);
    if (name.empty() || name == "." || name == "..")
        return {};
    const std::string directory = FileSystem::gGetDirectory(image.GetPath());
    std::vector<std::string> paths{FileSystem::gCombinePath(directory, name),
        FileSystem::gCombinePath(directory, ".debug/" + name),
        FileSystem::gCombinePath(cSystemDirectory + directory, name)};
    for (const std::string& local : localDirectories)
        paths.push_back(FileSystem::gCombinePath(local, name));
    return paths;
}

}

std::unique_ptr<ElfFile> gOpenDebugFile(const std::string& path, const ElfFile& image)
{
    auto file = OpenElf(path);
    if (file == nullptr || file->GetBuildID() == image.GetBuildID())
        return file;
    Utility::gTrace("Debug file left out: %s has another build-id than %s", path.c_str(), image.GetPath().c_str());
    return nullptr;
}

std::unique_ptr<ElfFile> gFindDebugFile(
    const ElfFile& image, const std::vector<std::string>& localDirectories, const JobControl& control)
{
    const std::vector<std::byte> buildID = image.GetBuildID();
    if (!buildID.empty())
    {
        const std::string name = MakeBuildIDName(buildID);
        std::vector<std::string> directories{cSystemDirectory};
        directories.insert(directories.end(), localDirectories.begin(), localDirectories.end());
        for (const std::string& directory : directories)
        {
            if (auto file = gOpenDebugFile(FileSystem::gCombinePath(directory, name), image))
                return file;
        }
    }

    const auto link = image.GetDebugLink();
    if (!link)
        return nullptr;
    for (const std::string& path : ListLinkedPaths(image, link->mName, localDirectories))
    {
        auto file = path == image.GetPath() ? nullptr : gOpenDebugFile(path, image);
        if (file != nullptr && HasChecksum(*file, link->mChecksum, control))
            return file;
        if (file != nullptr)
            Utility::gTrace(
                "Debug file left out: %s has another checksum than %s gives", path.c_str(), image.GetPath().c_str());
    }
    return nullptr;
}

}
