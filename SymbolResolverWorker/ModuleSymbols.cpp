#include "SymbolResolverWorker/ModuleSymbols.h"

#include <algorithm>

#include "ProfilerLib/symbols/PDBKey.h"
#include "Serialization/Error.h"
#include "SymbolResolverWorker/DebugFileFinder.h"
#include "SymbolResolverWorker/ElfReader.h"
#include "SymbolResolverWorker/ImageFinder.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/JobControl.h"
#include "SymbolResolverWorker/PdbReader.h"
#include "SymbolResolverWorker/PeImage.h"
#include "SymbolResolverWorker/SymbolStore.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

/// Where the image of a key may lie. Its path is in lower case; the name may be a path as it is.
std::vector<std::string> ListImagePaths(const Profiler::PDBKey& key, const SymbolSearch& search)
{
    std::vector<std::string> paths;
    if (FileSystem::gIsAbsolutePath(key.PDBName))
        paths.push_back(key.PDBName);
    const std::vector<std::string> found = gFindIgnoringCase(key.ModulePath);
    paths.insert(paths.end(), found.begin(), found.end());
    for (const std::string& directory : search.mLocalDirectories)
        paths.push_back(FileSystem::gCombinePath(directory, FileSystem::gGetFileName(key.ModulePath)));
    return paths;
}

std::vector<std::string> ListPdbPaths(const Profiler::PDBKey& key, const SymbolSearch& search)
{
    const std::string name = FileSystem::gGetFileName(key.PDBName);
    std::vector<std::string> paths;
    if (FileSystem::gIsAbsolutePath(key.PDBName))
        paths.push_back(key.PDBName);
    for (const std::string& image : gFindIgnoringCase(key.ModulePath))
        paths.push_back(FileSystem::gCombinePath(FileSystem::gGetDirectory(image), name));
    for (const std::string& directory : search.mLocalDirectories)
    {
        paths.push_back(FileSystem::gCombinePath(directory, name));
        if (const std::string stored = gMakeStorePath(key); !stored.empty())
            paths.push_back(FileSystem::gCombinePath(directory, stored));
    }
    return paths;
}

/// Whether a path can be opened as the wanted file; a file that is there and is another one is told of in the log.
template <class File, class IsWanted>
std::unique_ptr<File> TryOpen(const std::string& path, IsWanted&& isWanted, Utility::Result& problems)
{
    if (!FileSystem::gFileExists(path))
        return nullptr;
    auto file = std::make_unique<File>();
    if (!file->Open(path, problems))
        return nullptr;
    if (isWanted(*file))
        return file;
    const auto context = problems.PushContext(path);
    problems.Fail(Serialization::Incompatible, "The file is of another build");
    return nullptr;
}

/// Stores may keep a database packed, under a name that ends in "_" for the last letter.
void ReportPacked(const std::vector<std::string>& paths, Utility::Result& problems)
{
    for (std::string path : paths)
    {
        path.back() = '_';
        const auto context = problems.PushContext(path);
        if (FileSystem::gFileExists(path))
            problems.Fail(Serialization::InvalidBuffer,
                "The database is packed into a cabinet file: unpack it there, for instance with cabextract");
    }
}

ModuleSymbols::EOutcome ReportMissing(
    const Profiler::PDBKey& key, const Utility::Result& problems, const JobControl& control, Utility::Result& result)
{
    if (!control.MayGoOn(result))
        return ModuleSymbols::EOutcome::Stopped;
    for (const Utility::Result::Entry& entry : problems.GetEntries())
    {
        const auto context = result.PushContext(entry.mContext);
        result.FailText(entry.mCode, entry.mMessage);
    }
    result.Fail(Serialization::FileNotFound, "There are no symbols for %s", key.ModulePath.c_str());
    // Damage may be gone the next time; what is missing, or of another build, is asked for again with new settings
    // only.
    const bool isDamaged = std::ranges::any_of(problems.GetEntries(),
        [](const Utility::Result::Entry& entry) { return entry.mCode != Serialization::Incompatible; });
    return isDamaged ? ModuleSymbols::EOutcome::Unreadable : ModuleSymbols::EOutcome::NotFound;
}

}

ModuleSymbols::EOutcome ModuleSymbols::Open(
    const Profiler::PDBKey& key, const SymbolSearch& search, const JobControl& control, Utility::Result& result)
{
    return key.IsDatabase() ? OpenPdb(key, search, control, result) : OpenElf(key, search, control, result);
}

ModuleSymbols::EOutcome ModuleSymbols::OpenElf(
    const Profiler::PDBKey& key, const SymbolSearch& search, const JobControl& control, Utility::Result& result)
{
    const auto isWanted = [&key](const ElfFile& file) {
        Utility::Result ignored;
        ImageIdentity identity;
        return identity.Read(file.GetPath(), ignored) && identity.IsOf(key);
    };
    Utility::Result problems;
    std::unique_ptr<ElfFile> image;
    for (const std::string& path : ListImagePaths(key, search))
    {
        if (image == nullptr)
            image = TryOpen<ElfFile>(path, isWanted, problems);
    }
    if (image == nullptr)
        return ReportMissing(key, problems, control, result);
    auto debugFile = gFindDebugFile(*image, search.mLocalDirectories, control);
    if (debugFile == nullptr && image->FindSection(".debug_info") == nullptr)
        debugFile = gFetchDebugFile(*image, search.mServers, control);
    if (!control.MayGoOn(result))
        return EOutcome::Stopped;
    mImage = image.get();
    mReader = std::make_unique<ElfReader>(std::move(image), std::move(debugFile), control);
    return EOutcome::Found;
}

ModuleSymbols::EOutcome ModuleSymbols::OpenPdb(
    const Profiler::PDBKey& key, const SymbolSearch& search, const JobControl& control, Utility::Result& result)
{
    const auto isWanted = [&key](const PdbReader& reader) {
        return reader.GetFile().GetGUID() == key.PDBGUID && reader.GetFile().GetAge() == key.PDBAge;
    };
    Utility::Result problems;
    std::unique_ptr<PdbReader> reader;
    const std::vector<std::string> paths = ListPdbPaths(key, search);
    for (const std::string& path : paths)
    {
        if (reader == nullptr)
            reader = TryOpen<PdbReader>(path, isWanted, problems);
    }
    const TakeFile take = [&](const std::string& path) {
        reader = TryOpen<PdbReader>(path, isWanted, problems);
        return reader != nullptr;
    };
    if (reader == nullptr && !gFetchPdb(key, search.mServers, control, take))
    {
        ReportPacked(paths, problems);
        return ReportMissing(key, problems, control, result);
    }
    mReader = std::move(reader);
    FindPeImage(key, search);
    return EOutcome::Found;
}

void ModuleSymbols::FindPeImage(const Profiler::PDBKey& key, const SymbolSearch& search)
{
    const auto isWanted = [&key](const PeImage& image) {
        return image.GetPdb() && image.GetPdb()->mGUID == key.PDBGUID && image.GetPdb()->mAge == key.PDBAge;
    };
    std::vector<std::string> paths = gFindIgnoringCase(key.ModulePath);
    for (const std::string& directory : search.mLocalDirectories)
        paths.push_back(FileSystem::gCombinePath(directory, FileSystem::gGetFileName(key.ModulePath)));
    Utility::Result problems;
    for (const std::string& path : paths)
    {
        if (mOwnedImage == nullptr)
            mOwnedImage = TryOpen<PeImage>(path, isWanted, problems);
    }
    mImage = mOwnedImage.get();
}

}
