#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace Importers
{
/// Decompresses one file that comes piece by piece, of any number of members or frames.
class Decompressor
{
public:
    virtual ~Decompressor() = default;

    /// The one whose format a file with this beginning has; null when it is not compressed. The size of the file bounds
    /// the memory that is taken: no block is larger than 16 MiB or four times the file, whichever is more.
    static std::unique_ptr<Decompressor> sCreate(std::span<const std::byte> beginning, std::uint64_t fileSize);

    /// Takes from the front of `input` and writes to the front of `output`, shortening both, until one of them is empty
    /// or there is an error. What was written before an error is good as far as that can be told.
    [[nodiscard]] virtual bool Decode(std::span<const std::byte>& input, std::span<char>& output) = 0;

    /// The file may end here.
    virtual bool IsComplete() const = 0;
    /// Why Decode failed.
    virtual std::string GetError() const = 0;
};
}
