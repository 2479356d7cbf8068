#include "Renderer/AtlasPacker.h"

#include <algorithm>

namespace Renderer
{
std::optional<AtlasPacker::Place> AtlasPacker::Add(std::uint32_t width, std::uint32_t height)
{
    // The last column stays free, so that a width equal to that of the page has no place either.
    if (width >= mSize || height > mSize || mMaxPages == 0)
    {
        return std::nullopt;
    }

    // A failure must leave the shelf that is in use to the glyphs that still fit there.
    AtlasPacker next = *this;
    if (width + next.mCursorX >= mSize)
    {
        next.mCursorY += next.mRowHeight;
        next.mCursorX = 0;
        next.mRowHeight = 0;
    }
    if (next.mCursorY + height > mSize)
    {
        ++next.mPage;
        next.mCursorX = 0;
        next.mCursorY = 0;
        next.mRowHeight = 0;
    }
    if (next.mPage >= mMaxPages)
    {
        return std::nullopt;
    }
    const Place place{next.mPage, next.mCursorX, next.mCursorY};
    next.mCursorX += width;
    next.mRowHeight = std::max(next.mRowHeight, height + 1);
    *this = next;
    return place;
}
}
