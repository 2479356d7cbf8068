#include "Renderer/PrimitiveList.h"

#include "Renderer/PrimitiveRenderer.h"

#include <cassert>

namespace Renderer
{
PrimitiveList::~PrimitiveList()
{
    if (mRenderer != nullptr)
    {
        mRenderer->RemoveList(*this);
    }
}

PrimitiveRenderer& PrimitiveList::GetRenderer() const
{
    assert(mRenderer != nullptr && mRenderer->IsCurrent(*this) && "BeginList comes first");
    return *mRenderer;
}

void PrimitiveList::FillRect(Vector2 p0, Vector2 p1, Colour colour, std::uint32_t layer)
{
    GetRenderer().FillRect(p0 + mOrigin, p1 + mOrigin, colour, layer);
}

void PrimitiveList::FrameRect(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer)
{
    GetRenderer().FrameRect(p0 + mOrigin, p1 + mOrigin, thickness, colour, layer);
}

void PrimitiveList::BorderedRect(Vector2 p0, Vector2 p1, float thickness, Colour fillColour, Colour borderColour,
    std::uint32_t borderLayer, std::uint32_t fillLayer)
{
    GetRenderer().FrameRect(p0 + mOrigin, p1 + mOrigin, thickness, borderColour, borderLayer);
    const Vector2 inset{thickness, thickness};
    GetRenderer().FillRect(p0 + mOrigin + inset, p1 + mOrigin - inset, fillColour, fillLayer);
}

void PrimitiveList::DrawLine(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer)
{
    GetRenderer().DrawLine(p0 + mOrigin, p1 + mOrigin, thickness, colour, layer);
}

void PrimitiveList::FillTriangle(Vector2 p0, Vector2 p1, Vector2 p2, Colour colour, std::uint32_t layer)
{
    GetRenderer().FillTriangle({p0 + mOrigin, p1 + mOrigin, p2 + mOrigin}, colour, layer);
}

void PrimitiveList::DrawShadowLine(Vector2 p0, Vector2 p1, float width, Colour colour, std::uint32_t layer)
{
    GetRenderer().DrawShadowLine(p0 + mOrigin, p1 + mOrigin, width, colour, layer);
}

void PrimitiveList::DrawPolyline(
    std::span<const Vector2> points, float width, Colour colour, bool isClosed, std::uint32_t layer)
{
    GetRenderer().DrawPolyline(points, mOrigin, width, colour, isClosed, layer);
}

void PrimitiveList::DrawShadowRect(Vector2 p0, Vector2 p1, float width, Colour colour, std::uint32_t layer)
{
    const Vector2 inset{width * 0.5f, width * 0.5f};
    const Quad corners = gMakeRectangle(p0 + inset, p1 - inset);
    DrawPolyline(std::array{corners[0], corners[1], corners[3], corners[2]}, width, colour, true, layer);
}

void PrimitiveList::DrawDashedLine(
    Vector2 p0, Vector2 p1, float thickness, float dashLength, float dashOffset, Colour colour, std::uint32_t layer)
{
    GetRenderer().DrawDashedLine(p0 + mOrigin, p1 + mOrigin, thickness, dashLength, dashOffset, colour, layer);
}

float PrimitiveList::DrawText(Vector2 position, float size, Colour colour, std::string_view text, std::uint32_t layer,
    const TextClip& clip, bool keepsFirstBearing)
{
    const auto shift = [this](float border) {
        return border == TextClip::cNoMinimum ? border : border + mOrigin.mX;
    };
    const float pen = GetRenderer().DrawText(
        position + mOrigin, size, colour, text, layer, {shift(clip.mMinX), shift(clip.mMaxX)}, keepsFirstBearing);
    return pen - mOrigin.mX;
}

void PrimitiveList::DrawFramedText(Vector2 position, float size, float padding, float borderThickness,
    std::string_view text, Colour fillColour, Colour borderColour, Colour textColour, std::uint32_t borderLayer,
    std::uint32_t textLayer)
{
    const Vector2 extent{GetRenderer().MeasureText(text, size) + 2 * padding, size + 2 * padding};
    BorderedRect(position, position + extent, borderThickness, fillColour, borderColour, borderLayer, borderLayer);
    DrawText(position + Vector2{padding, padding}, size, textColour, text, textLayer);
}
}
