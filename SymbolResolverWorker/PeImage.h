#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ProfilerLib/symbols/SerializableGUID.h"
#include "SymbolResolverWorker/Architecture.h"
#include "SymbolResolverWorker/ByteRange.h"
#include "SymbolResolverWorker/CodeImage.h"
#include "SymbolResolverWorker/ImageFile.h"

namespace Symbols
{

/// Where a section of a PE image lies when loaded, and in the file. 40 bytes each, in images and in program databases:
///
///     0 name  8 virtual size  12 virtual address  16 size in file  20 offset in file  24 ... 36 flags
struct PeSection
{
    static constexpr std::size_t cStoredSize = 40;

    uint32_t mAddress = 0;
    uint32_t mSize = 0;
    uint32_t mFileOffset = 0;
    uint32_t mFileSize = 0;

    [[nodiscard]] bool Read(const ByteRange& bytes, uint64_t offset);
};

/// What an image says about its program database.
struct PdbReference
{
    Profiler::SerializableGUID mGUID;
    int32_t mAge = -1;
    std::string mName;
};

/// An executable or library of Windows: its program database's identity, and its code. One thread.
class PeImage final : public CodeImage
{
public:
    static bool sHasMagic(const ByteRange& start);

    /// False with the reason when the file cannot be read or is no PE image.
    [[nodiscard]] bool Open(const std::string& path, Utility::Result& result);

    int32_t GetTimeStamp() const { return static_cast<int32_t>(mTimeStamp); }
    int32_t GetImageSize() const { return static_cast<int32_t>(mImageSize); }
    /// The address that the image asks to be loaded at.
    uint64_t GetBase() const { return mBase; }
    const std::optional<PdbReference>& GetPdb() const { return mPdb; }

    EArchitecture GetArchitecture() const override { return mArchitecture; }
    uint64_t GetCodeSize(uint64_t offset) const override;
    [[nodiscard]] bool ReadCode(
        uint64_t offset, uint64_t size, std::vector<std::byte>& code, Utility::Result& result) const override;

private:
    [[nodiscard]] bool ReadSections(uint64_t offset, uint16_t count, Utility::Result& result);
    [[nodiscard]] bool ReadDebugDirectory(uint32_t address, uint32_t size, Utility::Result& result);
    [[nodiscard]] bool ReadPdbReference(uint64_t offset, uint64_t size, Utility::Result& result);
    std::optional<uint64_t> FindInFile(uint64_t address, uint64_t size) const;

    ImageFile mFile;
    EArchitecture mArchitecture = EArchitecture::Unknown;
    uint32_t mTimeStamp = 0;
    uint32_t mImageSize = 0;
    uint64_t mBase = 0;
    std::vector<PeSection> mSections;
    std::optional<PdbReference> mPdb;
};

}
