#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
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

struct SourceLineData;

/// The source line of one address.
struct LineOfAddress
{
    uint64_t Address = 0;   ///< from the image's base
    uint32_t PathIndex = 0; ///< of no meaning where the line is unknown
    int32_t Line = -1;      ///< from 1; -1 for unknown

    bool operator==(const LineOfAddress&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<LineOfAddress>("Profiler::LineOfAddress", RTTI::Version{1},
            RTTI::Field<&LineOfAddress::Address>{"Address"}, RTTI::Field<&LineOfAddress::PathIndex>{"PathIndex"},
            RTTI::Field<&LineOfAddress::Line>{"Line"});
    }
};

/// The source lines of a module that somebody has asked for: the content of a ".symlines" file, which
/// `docs/format/source-lines.md` shows. It saves the start of a worker for what is asked again. One thread.
class SourceLines : public RTTI::Object
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<SourceLines>("Profiler::SourceLines", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&SourceLines::mPDBKey>{"PDBKey"},
            RTTI::Field<&SourceLines::mSymbolSettingsHash>{"SymbolSettingsHash"},
            RTTI::Field<&SourceLines::mPaths>{"Paths"}, RTTI::Field<&SourceLines::mLines>{"Lines"});
    }

public:
    /// More than that are not kept: the next one takes the place of all.
    static constexpr std::size_t cMostLines = 1 << 18;

    SourceLines() = default;
    SourceLines(PDBKey key, uint64_t symbolSettingsHash);

    /// Null with the reason in `result` when there is no such file, it cannot be read, or it is that of
    /// another build. Addresses without a line are known only under the settings that they were looked for under.
    [[nodiscard]] static std::unique_ptr<SourceLines> Load(const std::string& path, const RTTI::TypeRegistry& registry,
        const PDBKey& key, uint64_t settingsHash, Utility::Result& result);

    [[nodiscard]] bool Save(const std::string& path, Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override;

    /// Those that nothing is known of, each once.
    std::vector<uint64_t> ListUnknown(const std::vector<uint64_t>& addresses) const;
    /// What a worker says of these addresses. False when that does not fit together.
    [[nodiscard]] bool Add(const std::vector<uint64_t>& addresses, const SourceLineData& data);
    /// What is known of these addresses.
    SourceLineData Find(const std::vector<uint64_t>& addresses) const;

private:
    [[nodiscard]] bool IsConsistent() const;
    void MakeIndex();

    PDBKey mPDBKey;
    uint64_t mSymbolSettingsHash = 0;
    std::vector<std::string> mPaths;
    std::vector<LineOfAddress> mLines;
    std::unordered_map<uint64_t, std::size_t> mIndex; ///< into `mLines`, by address; not stored
};

}
