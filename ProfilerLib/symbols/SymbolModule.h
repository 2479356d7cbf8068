#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ProfilerLib/symbols/PDBKey.h"
#include "Serialization/RTTI/TypeOf.h"

namespace RTTI
{
class TypeRegistry;
}
namespace Utility
{
class Result;
}

namespace Profiler
{

/// Whether a symbol module was made from a program database.
enum class ESymbolSource : uint8_t
{
    Found = 0,
    NotFound = 1, ///< there was none to be had: the module is empty, and says so to those who ask again
};

consteval auto gDescribe(RTTI::EnumTag<ESymbolSource>)
{
    return RTTI::gDescribeEnum<ESymbolSource>(
        "Profiler::ESymbolSource", {{"Found", ESymbolSource::Found}, {"NotFound", ESymbolSource::NotFound}});
}

/// One function of an image.
struct Symbol
{
    uint64_t Address = 0; ///< from the image's base
    uint64_t Size = 0;    ///< 0 for unknown: it reaches to the next symbol
    std::string Name;

    bool operator==(const Symbol&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Symbol>("Profiler::Symbol", RTTI::Version{1}, RTTI::Field<&Symbol::Address>{"Address"},
            RTTI::Field<&Symbol::Size>{"Size"}, RTTI::Field<&Symbol::Name>{"Name"});
    }
};

/// The functions of one program database: the content of a ".symcache" file, which `docs/format/symbol-file.md` shows.
/// What makes one adds its symbols, sorts and saves it; what reads one only asks it. It does not change once loaded, so
/// any thread may then ask.
class SymbolModule : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SymbolModule>("Profiler::SymbolModule", RTTI::Version{10}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&SymbolModule::mPDBKey>{"PDBKey"},
            RTTI::Field<&SymbolModule::mSymbolSettingsHash>{"SymbolSettingsHash"},
            RTTI::Field<&SymbolModule::mSourcePDBStatus>{"SourcePDBStatus"},
            RTTI::Field<&SymbolModule::mFunctions>{"Functions"});
    }

public:
    SymbolModule() = default;
    SymbolModule(PDBKey key, uint64_t symbolSettingsHash, ESymbolSource source);

    /// Null with the reason in `result` when there is no such file, it cannot be read, holds no symbol module, or holds
    /// an empty one that was made under other symbol settings than those with the hash `settingsHash`.
    [[nodiscard]] static std::unique_ptr<SymbolModule> Load(
        const std::string& path, const RTTI::TypeRegistry& registry, uint64_t settingsHash, Utility::Result& result);

    /// Creates the file's folder when there is none.
    [[nodiscard]] bool Save(const std::string& path, Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override;

    /// Appends; the reference holds until the next call. `Sort` has to follow before anything is looked up.
    Symbol& AddSymbol(uint64_t address, uint64_t size, std::string name);
    void Sort();

    /// The symbol that covers `address` in an image that is mapped at `imageBase`. A symbol of unknown size covers all
    /// up to the next one, and the last such symbol all behind it; behind one of a known size nothing is found.
    const Symbol* FindByAddress(uint64_t imageBase, uint64_t address) const;

    /// The first symbol of exactly that name. Looks at each: for a few names only.
    const Symbol* FindByName(std::string_view name) const;

    const PDBKey& GetPDBKey() const { return mPDBKey; }
    uint64_t GetSymbolSettingsHash() const { return mSymbolSettingsHash; }
    ESymbolSource GetSourcePDBStatus() const { return mSourcePDBStatus; }
    const std::vector<Symbol>& GetFunctions() const { return mFunctions; }

private:
    std::size_t FindCandidate(uint64_t offset) const;

    PDBKey mPDBKey;
    uint64_t mSymbolSettingsHash = 0;
    ESymbolSource mSourcePDBStatus = ESymbolSource::Found;
    std::vector<Symbol> mFunctions;
};

}
