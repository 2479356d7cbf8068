#pragma once

#include "Renderer/Font.h"
#include "Renderer/FontRenderer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Renderer
{
class RenderContext;

/// Bits that choose among the faces of a family.
struct StyleFlags
{
    static constexpr std::uint8_t cItalic = 1;
    static constexpr std::uint8_t cBold = 2;
};

/// All fonts of a render context, and what draws with them. Fonts stay to its end. The thread of the GL context.
class FontManager
{
public:
    /// Needs no GL context: text can be measured before there is one.
    explicit FontManager(RenderContext& context);

    /// The one that the desktop writes its messages with.
    Font& GetDefaultFont() { return *mDefaultFont; }
    const std::string& GetDefaultFontName() const { return mDefaultFont->GetFace().mName; }
    /// The nearest installed face of that name, in which case does not matter. The same arguments give the same font.
    Font& GetFont(std::string_view name, std::uint8_t styleFlags);
    FontRenderer& GetRenderer() { return mRenderer; }

    /// The GL objects are gone or go now, see RenderContext. Fonts and their outlines stay; their glyphs are rasterised
    /// again.
    void ReleaseGLObjects(bool areAlive);

private:
    FontRenderer mRenderer;
    std::unique_ptr<Font> mDefaultFont;
    /// By a hash of name and style.
    std::unordered_map<std::uint64_t, std::unique_ptr<Font>> mFonts;
};
}
