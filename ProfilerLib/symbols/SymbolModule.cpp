#include "ProfilerLib/symbols/SymbolModule.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "ProfilerLib/symbols/CacheFolder.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RootObjects.h"
#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Result.h"

namespace Profiler
{

SymbolModule::SymbolModule(PDBKey key, uint64_t symbolSettingsHash, ESymbolSource source)
    : mPDBKey{std::move(key)},
      mSymbolSettingsHash{symbolSettingsHash},
      mSourcePDBStatus{source}
{}

std::unique_ptr<SymbolModule> SymbolModule::Load(
    const std::string& path, const RTTI::TypeRegistry& registry, uint64_t settingsHash, Utility::Result& result)
{
    const auto context = result.PushContext(path);
    if (!result.Check(FileSystem::gFileExists(path), Serialization::FileNotFound, "Unable to open file"))
        return nullptr;

    auto module = Serialization::gReadFirst<SymbolModule>(path, registry, RTTI::ObjectFactory{},
        Serialization::EUnknownTypePolicy::Skip,
        "The file does not appear to be a SymbolModule file (missing SymbolModule object)", result);
    if (module == nullptr)
        return nullptr;

    const bool isCurrent =
        module->mSourcePDBStatus != ESymbolSource::NotFound || module->mSymbolSettingsHash == settingsHash;
    if (!result.Check(isCurrent, Serialization::Incompatible,
            "Symbol settings have been changed. Empty symbol module should be reconverted."))
        return nullptr;

    // A file by another writer may not be in order; every lookup relies on it.
    if (!std::ranges::is_sorted(module->mFunctions, {}, &Symbol::Address))
        module->Sort();
    return module;
}

bool SymbolModule::Save(const std::string& path, Utility::Result& result)
{
    CacheFolder folder;
    return folder.Enter(FileSystem::gGetDirectory(path), result) &&
           Serialization::gWriteBinaryFile(path, {this}, result);
}

const RTTI::TypeHandle& SymbolModule::GetType() const
{
    return RTTI::gTypeOf<SymbolModule>();
}

Symbol& SymbolModule::AddSymbol(uint64_t address, uint64_t size, std::string name)
{
    return mFunctions.emplace_back(Symbol{address, size, std::move(name)});
}

void SymbolModule::Sort()
{
    std::ranges::stable_sort(mFunctions, {}, &Symbol::Address);
}

const Symbol* SymbolModule::FindByAddress(uint64_t imageBase, uint64_t address) const
{
    if (mFunctions.empty())
        return nullptr;
    const uint64_t offset = address - imageBase;
    const Symbol& candidate = mFunctions[FindCandidate(offset)];
    if (offset < candidate.Address)
        return nullptr;
    // The distance from the start cannot overflow, whatever the size is.
    return candidate.Size == 0 || offset - candidate.Address < candidate.Size ? &candidate : nullptr;
}

/// The last symbol that starts at or before the offset; the first one when all start behind it. There is at least one.
std::size_t SymbolModule::FindCandidate(uint64_t offset) const
{
    std::size_t low = 0;
    std::size_t high = mFunctions.size() - 1;
    if (mFunctions[high].Address <= offset)
        return high;
    while (high - low > 1)
    {
        const std::size_t middle = low + (high - low) / 2;
        const uint64_t start = mFunctions[middle].Address;
        if (offset == start)
            return middle;
        (offset < start ? high : low) = middle;
    }
    return low;
}

const Symbol* SymbolModule::FindByName(std::string_view name) const
{
    const auto found = std::ranges::find(mFunctions, name, &Symbol::Name);
    return found == mFunctions.end() ? nullptr : &*found;
}

}
