#pragma once

#include "Importers/JsonScanner.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What tests and fuzz targets of readers of JSON share.
namespace Importers
{
/// A text in windows of one size, each in memory of its own, so that a sanitizer sees what reads behind its end.
class Windows final : public WindowSource
{
public:
    Windows(std::string_view text, std::size_t size) : mText(text), mSize(size) {}

    std::span<const char> NextWindow() override
    {
        const std::string_view piece = mText.substr(0, mSize);
        mText.remove_prefix(piece.size());
        mWindow.assign(piece.begin(), piece.end());
        mWindow.shrink_to_fit();
        return mWindow;
    }

private:
    std::string_view mText;
    std::size_t mSize;
    std::vector<char> mWindow;
};

/// Puts in, takes out or replaces a few characters at random places. What comes out is never empty.
inline void gChangeAtRandom(
    std::string& text, std::uint64_t numChanges, std::string_view characters, std::mt19937_64& random)
{
    for (; numChanges > 0; --numChanges)
    {
        const std::size_t position = random() % (text.size() + 1);
        const char character = characters[random() % characters.size()];
        switch (random() % 3)
        {
        case 0:
            text.insert(position, 1, character);
            break;
        case 1:
            text.erase(position, 1 + random() % 3);
            break;
        default:
            text[std::min(position, text.size() - 1)] = character;
            break;
        }
        text += text.empty() ? " " : "";
    }
}
}
