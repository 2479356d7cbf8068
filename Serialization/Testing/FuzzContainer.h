#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "Utility/Hash.h"

namespace Serialization::Testing
{

/// Makes containers of a fuzzer's inputs that get past the checksum, which no fuzzer finds by trying. An input that
/// begins like a container is a whole one, and only its last eight bytes change. Any other is what follows the schema,
/// and the schema is that of a sample.
class FuzzContainer
{
public:
    /// `sample` is a container as this build writes it.
    explicit FuzzContainer(std::span<const std::byte> sample)
    {
        uint64_t schemaSize = 0;
        std::memcpy(&schemaSize, sample.data() + 8, sizeof(schemaSize));
        mFront.assign(sample.begin(), sample.begin() + static_cast<std::ptrdiff_t>(16 + schemaSize));
    }
    explicit FuzzContainer(std::string_view sample) : FuzzContainer{std::as_bytes(std::span{sample})} {}

    std::vector<std::byte> Make(std::span<const std::byte> input) const
    {
        const bool isWhole = input.size() >= 4 && std::equal(input.begin(), input.begin() + 4, mFront.begin());
        std::vector<std::byte> container;
        if (isWhole)
            input = input.first(std::max(input.size(), cChecksumSize) - cChecksumSize);
        else
            container = mFront;
        container.insert(container.end(), input.begin(), input.end());
        const uint64_t checksum = Utility::gXXH64(container);
        const auto bytes = std::as_bytes(std::span{&checksum, 1});
        container.insert(container.end(), bytes.begin(), bytes.end());
        return container;
    }

private:
    static constexpr std::size_t cChecksumSize = 8;

    std::vector<std::byte> mFront; ///< magic, version and schema
};

}
