#include "ProfilerLib/symbols/SourceLines.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "ProfilerLib/symbols/CacheFolder.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

namespace Profiler
{

SourceLines::SourceLines(PDBKey key, uint64_t symbolSettingsHash)
    : mPDBKey{std::move(key)},
      mSymbolSettingsHash{symbolSettingsHash}
{}

std::unique_ptr<SourceLines> SourceLines::Load(const std::string& path, const RTTI::TypeRegistry& registry,
    const PDBKey& key, uint64_t settingsHash, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    if (!result.Check(FileSystem::gFileExists(path), Serialization::FileNotFound, "Unable to open file"))
        return nullptr;

    auto lines = Serialization::gReadFirst<SourceLines>(path, registry, RTTI::ObjectFactory{},
        Serialization::EUnknownTypePolicy::Skip, "The file holds no source lines", result);
    if (lines == nullptr ||
        !result.Check(lines->IsConsistent(), Serialization::CorruptData, "A line names a path that is not there") ||
        !result.Check(lines->mPDBKey.PDBGUID == key.PDBGUID && lines->mPDBKey.PDBAge == key.PDBAge,
            Serialization::Incompatible, "The lines are those of another build"))
        return nullptr;

    if (std::exchange(lines->mSymbolSettingsHash, settingsHash) != settingsHash)
        std::erase_if(lines->mLines, [](const LineOfAddress& line) { return line.Line <= 0; });
    lines->MakeIndex();
    return lines;
}

bool SourceLines::Save(const std::string& path, Utility::Result& result)
{
    CacheFolder folder;
    return folder.Enter(FileSystem::gGetDirectory(path), result) &&
           Serialization::gWriteBinaryFile(path, {this}, result);
}

const RTTI::TypeHandle& SourceLines::GetType() const
{
    return RTTI::gTypeOf<SourceLines>();
}

bool SourceLines::IsConsistent() const
{
    return std::ranges::all_of(
        mLines, [this](const LineOfAddress& line) { return line.Line <= 0 || line.PathIndex < mPaths.size(); });
}

void SourceLines::MakeIndex()
{
    mIndex.clear();
    for (std::size_t i = 0; i < mLines.size(); ++i)
        mIndex[mLines[i].Address] = i;
}

std::vector<uint64_t> SourceLines::ListUnknown(const std::vector<uint64_t>& addresses) const
{
    std::vector<uint64_t> unknown;
    std::unordered_set<uint64_t> listed;
    for (const uint64_t address : addresses)
    {
        if (!mIndex.contains(address) && listed.insert(address).second)
            unknown.push_back(address);
    }
    return unknown;
}

bool SourceLines::Add(const std::vector<uint64_t>& addresses, const SourceLineData& data)
{
    if (data.Lines.size() != addresses.size() || !data.IsComplete())
        return false;
    if (mLines.size() + addresses.size() > cMostLines)
    {
        mPaths.clear();
        mLines.clear();
    }
    std::unordered_map<std::string, uint32_t> paths;
    for (std::size_t i = 0; i < mPaths.size(); ++i)
        paths.emplace(mPaths[i], static_cast<uint32_t>(i));
    for (std::size_t i = 0; i < addresses.size(); ++i)
    {
        if (data.Lines[i] <= 0)
        {
            mLines.push_back({addresses[i]});
            continue;
        }
        const std::string& path = data.Paths[data.PathIndices[i]];
        const auto [entry, isNew] = paths.try_emplace(path, static_cast<uint32_t>(mPaths.size()));
        if (isNew)
            mPaths.push_back(path);
        mLines.push_back({addresses[i], entry->second, data.Lines[i]});
    }
    MakeIndex();
    return true;
}

SourceLineData SourceLines::Find(const std::vector<uint64_t>& addresses) const
{
    SourceLineData data;
    data.Result = EResolveLineDataResult::Success;
    data.Paths = mPaths;
    for (const uint64_t address : addresses)
    {
        const auto found = mIndex.find(address);
        const LineOfAddress line = found == mIndex.end() ? LineOfAddress{address} : mLines[found->second];
        data.Lines.push_back(line.Line);
        data.PathIndices.push_back(line.PathIndex);
    }
    return data;
}

}
