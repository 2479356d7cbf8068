#include "Renderer/FontManager.h"

#include "Renderer/DesktopFont.h"

#include "Utility/Hash.h"
#include "Utility/Text.h"

#include <array>

namespace Renderer
{
namespace
{
std::unique_ptr<Font> OpenFont(const FaceRequest& face)
{
    return std::make_unique<Font>(face, gOpenFace(face));
}

std::uint64_t MakeKey(std::string_view name, std::uint8_t styleFlags)
{
    const std::array<char, 4> flags{static_cast<char>(styleFlags), 0, 0, 0};
    return Utility::gFNV1a64(Utility::gToLower(name)) ^ Utility::gFNV1a64({flags.data(), flags.size()});
}
}

FontManager::FontManager(RenderContext& context) : mRenderer{context}, mDefaultFont{OpenFont(gGetDesktopFont().mFace)}
{}

Font& FontManager::GetFont(std::string_view name, std::uint8_t styleFlags)
{
    std::unique_ptr<Font>& font = mFonts[MakeKey(name, styleFlags)];
    if (font == nullptr)
    {
        font = OpenFont(
            {std::string{name}, (styleFlags & StyleFlags::cBold) != 0 ? FaceRequest::cBold : FaceRequest::cRegular,
                (styleFlags & StyleFlags::cItalic) != 0});
    }
    return *font;
}

void FontManager::ReleaseGLObjects(bool areAlive)
{
    mRenderer.ReleaseGLObjects(areAlive);
    mDefaultFont->ForgetPlaces();
    for (const auto& [key, font] : mFonts)
    {
        font->ForgetPlaces();
    }
}
}
