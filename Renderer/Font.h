#pragma once

#include "Renderer/GlyphInstance.h"
#include "Renderer/GlyphOutline.h"
#include "Renderer/OutlineSource.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Renderer
{
/// Which end of a text stays when it has to be shortened.
enum class EElisionSide : std::uint8_t
{
    KeepTail = 0,
    KeepHead = 1,
};

/// A typeface with the glyphs that were needed so far; they stay until the font ends. Sizes are the heights of a line
/// of text in pixels, ascent and descent together; below 1 they count as 1. Texts are UTF-8, and what is no character
/// in them reads as U+FFFD. The thread of the GL context only, although no operation here touches the GPU: measuring
/// adds glyphs.
class Font
{
public:
    /// A size beyond it counts as this one: its glyphs would not fit into any atlas.
    static constexpr std::int32_t cLargestSize = 4096;

    Font(const FaceRequest& face, std::unique_ptr<OutlineSource> source);

    const FaceRequest& GetFace() const { return mFace; }
    /// In font units, both positive.
    float GetAscent() const { return mAscent; }
    float GetDescent() const { return mDescent; }

    const GlyphOutline& GetGlyphOutline(std::uint32_t codePoint);
    /// The reference stays valid until the font ends.
    GlyphInstance& GetGlyphInstance(std::uint32_t codePoint, std::int32_t size)
    {
        if (codePoint < cASCIICount && size == mASCIISize) [[likely]]
        {
            if (GlyphInstance* const instance = (*mASCIIGlyphs)[codePoint]) [[likely]]
            {
                return *instance;
            }
        }
        return FindOrAddInstance(codePoint, size);
    }
    /// Null when nobody has asked for it yet.
    GlyphInstance* FindGlyphInstance(std::uint32_t codePoint, std::int32_t size);

    /// The sum of the advances in pixels, without kerning.
    float MeasureText(std::string_view text, std::int32_t size);

    /// Appends the lines that the words of the text fill, a word being what stands between blanks. A word that is wider
    /// than `maxWidth` stands alone. The blank behind the last word of a line is part of the line, but not behind the
    /// last one of all.
    void WrapText(std::string_view text, std::int32_t size, float maxWidth, std::vector<std::string>& lines);
    /// Appends the same lines with line feeds in between.
    void WrapTextToString(std::string_view text, std::int32_t size, float maxWidth, std::string& result);

    /// The text with "..." in place of the end or the beginning that has no room. Returns the offset in bytes of where
    /// it was cut, or -1 when it is whole or when nothing of it fits: then `result` is empty and the width 0.
    std::int32_t ElideText(std::string_view text, std::int32_t size, float maxWidth, EElisionSide side,
        std::string& result, float& resultWidth);

    /// No glyph has a place in an atlas any more.
    void ForgetPlaces();

private:
    static constexpr std::uint32_t cASCIICount = 128;
    using ASCIIGlyphs = std::array<GlyphInstance*, cASCIICount>;

    static std::uint64_t sMakeKey(std::uint32_t codePoint, std::int32_t size);
    GlyphInstance& FindOrAddInstance(std::uint32_t codePoint, std::int32_t size);

    std::int32_t ElideTail(std::string_view text, std::int32_t size, float available, std::string& result,
        float& resultWidth, float ellipsisWidth);
    std::int32_t ElideHead(std::string_view text, std::int32_t size, float available, std::string& result,
        float& resultWidth, float ellipsisWidth);

    FaceRequest mFace;
    std::unique_ptr<OutlineSource> mSource;
    float mAscent;
    float mDescent;
    /// By code point in the high half and size in the low half.
    std::unordered_map<std::uint64_t, std::unique_ptr<GlyphInstance>> mGlyphInstances;
    std::unordered_map<std::uint32_t, std::unique_ptr<GlyphOutline>> mGlyphOutlines;
    /// By size, the glyphs that nearly all texts are made of, as far as they were asked for: no hashing in between.
    std::unordered_map<std::int32_t, ASCIIGlyphs> mASCIIBySize;
    /// The size that was asked for last, and its glyphs.
    std::int32_t mASCIISize = 0;
    ASCIIGlyphs* mASCIIGlyphs = &mASCIIBySize[mASCIISize];
};
}
