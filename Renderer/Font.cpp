#include "Renderer/Font.h"

#include "Renderer/Utf8Decoder.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Renderer
{
namespace
{
constexpr std::string_view cEllipsis = "...";
}

Font::Font(const FaceRequest& face, std::unique_ptr<OutlineSource> source)
    : mFace{face},
      mSource{std::move(source)},
      mAscent{mSource->GetAscent()},
      mDescent{mSource->GetDescent()}
{}

const GlyphOutline& Font::GetGlyphOutline(std::uint32_t codePoint)
{
    std::unique_ptr<GlyphOutline>& outline = mGlyphOutlines[codePoint];
    if (outline == nullptr)
    {
        GlyphDescription glyph;
        outline = mSource->ReadGlyph(codePoint, glyph) ? std::make_unique<GlyphOutline>(glyph)
                                                       : std::make_unique<GlyphOutline>();
    }
    return *outline;
}

std::uint64_t Font::sMakeKey(std::uint32_t codePoint, std::int32_t size)
{
    return std::uint64_t{codePoint} << 32 | static_cast<std::uint32_t>(std::clamp(size, 1, cLargestSize));
}

GlyphInstance& Font::FindOrAddInstance(std::uint32_t codePoint, std::int32_t size)
{
    std::unique_ptr<GlyphInstance>& instance = mGlyphInstances[sMakeKey(codePoint, size)];
    if (instance == nullptr)
    {
        instance = std::make_unique<GlyphInstance>(
            GetGlyphOutline(codePoint), mAscent, mDescent, std::clamp(size, 1, cLargestSize));
    }
    if (codePoint < cASCIICount)
    {
        if (size != mASCIISize)
        {
            mASCIISize = size;
            mASCIIGlyphs = &mASCIIBySize[size];
        }
        (*mASCIIGlyphs)[codePoint] = instance.get();
    }
    return *instance;
}

GlyphInstance* Font::FindGlyphInstance(std::uint32_t codePoint, std::int32_t size)
{
    const auto found = mGlyphInstances.find(sMakeKey(codePoint, size));
    return found != mGlyphInstances.end() ? found->second.get() : nullptr;
}

void Font::ForgetPlaces()
{
    for (const auto& [key, instance] : mGlyphInstances)
    {
        instance->mTextureX = GlyphInstance::cNotPlaced;
        instance->mTextureY = GlyphInstance::cNotPlaced;
    }
}

float Font::MeasureText(std::string_view text, std::int32_t size)
{
    float width = 0.0f;
    Utf8Decoder decoder{text};
    for (std::uint32_t codePoint = 0; decoder.Next(codePoint);)
    {
        width += GetGlyphInstance(codePoint, size).mAdvance;
    }
    return width;
}

void Font::WrapText(std::string_view text, std::int32_t size, float maxWidth, std::vector<std::string>& lines)
{
    std::vector<std::string_view> words;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find(' ', begin), text.size());
        if (end > begin)
        {
            words.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }

    const float blank = MeasureText(" ", size);
    std::string line;
    float width = 0.0f;
    for (std::size_t i = 0; i < words.size(); ++i)
    {
        const bool isLast = i + 1 == words.size();
        width += MeasureText(words[i], size);
        if (width > maxWidth)
        {
            if (!line.empty())
            {
                lines.push_back(std::exchange(line, {}));
            }
            width = 0.0f;
        }
        else if (!isLast)
        {
            width += blank;
        }
        line += words[i];
        if (!isLast)
        {
            line += ' ';
        }
    }
    if (!line.empty())
    {
        lines.push_back(std::move(line));
    }
}

void Font::WrapTextToString(std::string_view text, std::int32_t size, float maxWidth, std::string& result)
{
    std::vector<std::string> lines;
    WrapText(text, size, maxWidth, lines);
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        result += i > 0 ? "\n" : "";
        result += lines[i];
    }
}

std::int32_t Font::ElideText(std::string_view text, std::int32_t size, float maxWidth, EElisionSide side,
    std::string& result, float& resultWidth)
{
    const float width = MeasureText(text, size);
    if (maxWidth > width)
    {
        result = text;
        resultWidth = width;
        return -1;
    }
    result.clear();
    resultWidth = 0.0f;
    const float ellipsisWidth = MeasureText(cEllipsis, size);
    if (ellipsisWidth > maxWidth)
    {
        return -1;
    }
    const float available = maxWidth - ellipsisWidth;
    return side == EElisionSide::KeepHead ? ElideTail(text, size, available, result, resultWidth, ellipsisWidth)
                                          : ElideHead(text, size, available, result, resultWidth, ellipsisWidth);
}

std::int32_t Font::ElideTail(std::string_view text, std::int32_t size, float available, std::string& result,
    float& resultWidth, float ellipsisWidth)
{
    float width = 0.0f;
    Utf8Decoder decoder{text};
    std::size_t offset = 0;
    for (std::uint32_t codePoint = 0; decoder.Next(codePoint); offset = decoder.GetOffset())
    {
        const float next = width + GetGlyphInstance(codePoint, size).mAdvance;
        if (next > available)
        {
            if (offset == 0)
            {
                return -1;
            }
            result = text.substr(0, offset);
            result += cEllipsis;
            resultWidth = width + ellipsisWidth;
            return static_cast<std::int32_t>(offset);
        }
        width = next;
    }
    result = text;
    resultWidth = width;
    return -1;
}

std::int32_t Font::ElideHead(std::string_view text, std::int32_t size, float available, std::string& result,
    float& resultWidth, float ellipsisWidth)
{
    struct Character
    {
        std::uint32_t mCodePoint;
        std::size_t mOffset;
    };
    std::vector<Character> characters;
    Utf8Decoder decoder{text};
    std::size_t offset = 0;
    for (std::uint32_t codePoint = 0; decoder.Next(codePoint); offset = decoder.GetOffset())
    {
        characters.push_back({codePoint, offset});
    }

    float width = 0.0f;
    for (std::size_t i = characters.size(); i-- > 0;)
    {
        const float next = width + GetGlyphInstance(characters[i].mCodePoint, size).mAdvance;
        if (next > available)
        {
            if (i + 1 == characters.size())
            {
                return -1;
            }
            const std::size_t kept = characters[i + 1].mOffset;
            result = cEllipsis;
            result += text.substr(kept);
            resultWidth = width + ellipsisWidth;
            return static_cast<std::int32_t>(kept);
        }
        width = next;
    }
    result = text;
    resultWidth = width;
    return -1;
}
}
