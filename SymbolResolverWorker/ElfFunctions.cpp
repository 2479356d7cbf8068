#include "SymbolResolverWorker/ElfFunctions.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>

#include "Serialization/Error.h"
#include "SymbolResolverWorker/EhFrame.h"
#include "SymbolResolverWorker/ElfFile.h"
#include "SymbolResolverWorker/FunctionName.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/Format.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

/// How often a long loop asks whether it may go on.
constexpr std::size_t cCheckEvery = 1024;

/// A symbol that is a function, with the name as the file has it.
struct Candidate
{
    uint64_t mAddress; ///< at link time
    uint64_t mSize;
    int mBindingRank; ///< the lower the better
    const char* mName;

    auto GetRank() const
    {
        const std::string_view name{mName};
        const std::size_t numUnderscores = std::min(name.find_first_not_of('_'), name.size());
        return std::tuple{mSize == 0, mBindingRank, numUnderscores, name};
    }
};

int GetBindingRank(unsigned char info)
{
    switch (GELF_ST_BIND(info))
    {
    case STB_GLOBAL:
    case STB_GNU_UNIQUE:
        return 0;
    case STB_WEAK:
        return 1;
    default:
        return 2;
    }
}

class CandidateList
{
public:
    CandidateList(const ElfFile& image, const JobControl& control) : mImage{image}, mControl{control} {}

    bool IsEmpty() const { return mCandidates.empty(); }

    /// Adds the functions of a symbol table; nothing when the file has no table of that type.
    void AddTable(const ElfFile& file, uint32_t type)
    {
        Elf_Scn* section = file.FindSection(type);
        GElf_Shdr header;
        if (section == nullptr || gelf_getshdr(section, &header) == nullptr || header.sh_entsize == 0)
            return;
        Elf_Data* data = elf_getdata(section, nullptr);
        if (data == nullptr)
            return;
        const std::size_t count = data->d_size / header.sh_entsize;
        for (std::size_t i = 0; i < count; ++i)
        {
            if (i % cCheckEvery == 0 && mControl.ShouldStop())
                return;
            GElf_Sym symbol;
            if (gelf_getsym(data, static_cast<int>(i), &symbol) != nullptr)
                Add(file, symbol, header.sh_link);
        }
    }

    /// Sorted, the best one of each address.
    void KeepBest()
    {
        std::ranges::sort(mCandidates, [](const Candidate& a, const Candidate& b) {
            return a.mAddress != b.mAddress ? a.mAddress < b.mAddress : a.GetRank() < b.GetRank();
        });
        const auto repeated = std::unique(mCandidates.begin(), mCandidates.end(),
            [](const Candidate& a, const Candidate& b) { return a.mAddress == b.mAddress; });
        mCandidates.erase(repeated, mCandidates.end());
    }

    /// Names the ranges that no candidate begins in. Both are sorted.
    std::vector<ElfFile::AddressRange> FindUnnamed(const std::vector<ElfFile::AddressRange>& ranges) const
    {
        std::vector<ElfFile::AddressRange> unnamed;
        for (const ElfFile::AddressRange& range : ranges)
        {
            const auto behind = std::ranges::upper_bound(mCandidates, range.mBegin, {}, &Candidate::mAddress);
            const bool isCovered = behind != mCandidates.begin() && IsInside(range.mBegin, *std::prev(behind));
            if (!isCovered && (unnamed.empty() || unnamed.back().mBegin != range.mBegin))
                unnamed.push_back(range);
        }
        return unnamed;
    }

    void MoveTo(std::vector<Profiler::Symbol>& functions) const
    {
        functions.reserve(functions.size() + mCandidates.size());
        for (std::size_t i = 0; i < mCandidates.size(); ++i)
        {
            if (i % cCheckEvery == 0 && mControl.ShouldStop())
                return;
            const Candidate& candidate = mCandidates[i];
            functions.push_back(
                {candidate.mAddress - mImage.GetBase(), candidate.mSize, gMakeReadable(gCutVersion(candidate.mName))});
        }
    }

private:
    static bool IsInside(uint64_t address, const Candidate& candidate)
    {
        return address == candidate.mAddress || address - candidate.mAddress < candidate.mSize;
    }

    void Add(const ElfFile& file, const GElf_Sym& symbol, std::size_t names)
    {
        const int type = GELF_ST_TYPE(symbol.st_info);
        if ((type != STT_FUNC && type != STT_GNU_IFUNC) || symbol.st_shndx == SHN_UNDEF)
            return;
        // The lowest bit of an ARM function says how it is called.
        const uint64_t address =
            file.GetArchitecture() == EArchitecture::Arm ? symbol.st_value & ~uint64_t{1} : symbol.st_value;
        const char* name = elf_strptr(file.GetHandle(), names, symbol.st_name);
        if (name == nullptr || *name == 0 || address < mImage.GetBase())
            return;
        mCandidates.push_back({address, symbol.st_size, GetBindingRank(symbol.st_info), name});
    }

    const ElfFile& mImage;
    const JobControl& mControl;
    std::vector<Candidate> mCandidates;
};

}

bool gReadElfFunctions(const ElfFile& image, const ElfFile* debugFile, std::vector<Profiler::Symbol>& functions,
    const JobControl& control, Utility::Result& result)
{
    CandidateList list{image, control};
    if (debugFile != nullptr)
        list.AddTable(*debugFile, SHT_SYMTAB);
    if (list.IsEmpty())
        list.AddTable(image, SHT_SYMTAB);
    const bool isStripped = list.IsEmpty();
    if (isStripped)
        list.AddTable(image, SHT_DYNSYM);
    list.KeepBest();
    list.MoveTo(functions);
    if (isStripped)
    {
        for (const ElfFile::AddressRange& range : list.FindUnnamed(gReadUnwindRanges(image, control)))
        {
            const uint64_t offset = range.mBegin - image.GetBase();
            functions.push_back({offset, range.mEnd - range.mBegin,
                Utility::gFormat("[unnamed at 0x%llx]", static_cast<unsigned long long>(offset))});
        }
        std::ranges::stable_sort(functions, {}, &Profiler::Symbol::Address);
    }
    image.GetCodeSections().CloseLast(functions, image.GetBase());
    return control.MayGoOn(result);
}

}
