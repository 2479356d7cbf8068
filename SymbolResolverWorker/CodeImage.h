#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "SymbolResolverWorker/Architecture.h"

namespace Utility
{
class Result;
}

namespace Symbols
{

/// The instructions of an image, as they are in its file.
class CodeImage
{
public:
    CodeImage() = default;
    CodeImage(const CodeImage&) = delete;
    CodeImage& operator=(const CodeImage&) = delete;
    virtual ~CodeImage() = default;

    virtual EArchitecture GetArchitecture() const = 0;

    /// How many bytes of the file belong to the section with the code at an offset from the image's base, from there on
    /// (to the segment where sections are not known). 0 where there is none.
    virtual uint64_t GetCodeSize(uint64_t offset) const = 0;

    /// The bytes at an offset from the image's base. False when the file does not hold all of them.
    [[nodiscard]] virtual bool ReadCode(
        uint64_t offset, uint64_t size, std::vector<std::byte>& code, Utility::Result& result) const = 0;
};

}
