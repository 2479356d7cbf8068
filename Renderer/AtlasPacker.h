#pragma once

#include <cstdint>
#include <optional>

namespace Renderer
{
/// Finds places for the glyphs of an atlas, which has pages of one size: glyphs stand side by side on shelves, with an
/// empty row above each shelf, and a new page begins when one is full. Nothing is ever given back.
class AtlasPacker
{
public:
    struct Place
    {
        std::uint32_t mPage = 0;
        std::uint32_t mX = 0; ///< texels
        std::uint32_t mY = 0;

        bool operator==(const Place&) const = default;
    };

    /// `size` is that of a page in both directions, in texels.
    AtlasPacker(std::uint32_t size, std::uint32_t maxPages) : mSize{size}, mMaxPages{maxPages} {}

    /// Nothing when all pages are full, or when no page is large enough for it.
    [[nodiscard]] std::optional<Place> Add(std::uint32_t width, std::uint32_t height);

private:
    std::uint32_t mSize;
    std::uint32_t mMaxPages;
    std::uint32_t mPage = 0;
    std::uint32_t mCursorX = 0;
    std::uint32_t mCursorY = 0;
    /// Of the shelf in use, with the empty row.
    std::uint32_t mRowHeight = 0;
};
}
