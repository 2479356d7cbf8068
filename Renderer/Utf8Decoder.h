#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Renderer
{
/// Reads the code points of a text that may hold anything. What is no character gives U+FFFD: a byte that begins none
/// by itself, any other faulty sequence together with all continuation bytes that follow it. A sequence that is cut off
/// by the end of the text ends the reading and gives nothing.
class Utf8Decoder
{
public:
    static constexpr std::uint32_t cReplacement = 0xFFFD;

    /// The text must outlive the decoder.
    explicit Utf8Decoder(std::string_view text) : mText{text} {}

    /// False at the end.
    [[nodiscard]] bool Next(std::uint32_t& codePoint)
    {
        if (mOffset >= mText.size())
        {
            return false;
        }
        const auto first = static_cast<unsigned char>(mText[mOffset]);
        if (first < 0x80) [[likely]]
        {
            codePoint = first;
            ++mOffset;
            return true;
        }
        return NextSequence(codePoint);
    }

    /// In bytes, of the code point that comes next.
    std::size_t GetOffset() const { return mOffset; }

private:
    bool NextSequence(std::uint32_t& codePoint);

    std::string_view mText;
    std::size_t mOffset = 0;
};
}
