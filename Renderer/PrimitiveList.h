#pragma once

#include "Renderer/FontRenderer.h"
#include "Renderer/Vectors.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace Renderer
{
class PrimitiveRenderer;

/// What one control draws with: points are relative to its upper left corner, y down, in pixels, and nothing reaches
/// beyond its clip rectangle. In each frame PrimitiveRenderer::BeginList comes first. A higher layer is drawn first, so
/// lower ones cover it; inside a layer the primitive that comes first stays on top. Layers go from 0 to 999; what has
/// another one cannot be seen.
///
/// Owned by its control. It may end before or after the renderer, but not between drawing and the flush of a frame
/// unless what it has drawn may be lost. The thread of the GL context.
class PrimitiveList
{
public:
    /// How many vertices its buffers are made for: about as many as it draws at the most in one colour and layer. A
    /// larger number costs memory, a smaller one draw calls.
    explicit PrimitiveList(std::uint32_t vertexBudget) : mVertexBudget(vertexBudget) {}
    ~PrimitiveList();
    PrimitiveList(const PrimitiveList&) = delete;
    PrimitiveList& operator=(const PrimitiveList&) = delete;

    /// From the upper left corner p0 to the lower right one p1; the other way round it has its back to the viewer and
    /// is not seen. The same holds for the other rectangles.
    void FillRect(Vector2 p0, Vector2 p1, Colour colour, std::uint32_t layer);
    /// Four lines inside the rectangle.
    void FrameRect(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer);
    void BorderedRect(Vector2 p0, Vector2 p1, float thickness, Colour fillColour, Colour borderColour,
        std::uint32_t borderLayer, std::uint32_t fillLayer);
    /// Square ends at p0 and p1. Without a length it leaves nothing, like all lines.
    void DrawLine(Vector2 p0, Vector2 p1, float thickness, Colour colour, std::uint32_t layer);
    /// Corners counter-clockwise as they are seen.
    void FillTriangle(Vector2 p0, Vector2 p1, Vector2 p2, Colour colour, std::uint32_t layer);
    /// A line whose sides fade out inside its width, and whose ends do not.
    void DrawShadowLine(Vector2 p0, Vector2 p1, float width, Colour colour, std::uint32_t layer);
    /// The same through several points, joined in miters. A closed one returns to its first point.
    void DrawPolyline(std::span<const Vector2> points, float width, Colour colour, bool isClosed, std::uint32_t layer);
    /// A closed polyline inside the rectangle.
    void DrawShadowRect(Vector2 p0, Vector2 p1, float width, Colour colour, std::uint32_t layer);
    /// Dashes and gaps have the same length, rounded to whole pixels and at least 1; the first dash has lost
    /// `dashOffset` pixels of it. Each length costs a material that stays, so they should come from a small set.
    void DrawDashedLine(Vector2 p0, Vector2 p1, float thickness, float dashLength, float dashOffset, Colour colour,
        std::uint32_t layer);

    /// A line of UTF-8 text of that height, with the upper left corner of its cell at `position`; the ink of its first
    /// glyph begins exactly there unless `keepsFirstBearing`. The borders of `clip` count from the left of the control,
    /// except that -1 stays what it is. Returns where the pen is behind the text.
    float DrawText(Vector2 position, float size, Colour colour, std::string_view text, std::uint32_t layer,
        const TextClip& clip = {}, bool keepsFirstBearing = false);
    /// A text on a bordered rectangle that is larger by the padding on each side, with its upper left corner at
    /// `position`.
    void DrawFramedText(Vector2 position, float size, float padding, float borderThickness, std::string_view text,
        Colour fillColour, Colour borderColour, Colour textColour, std::uint32_t borderLayer, std::uint32_t textLayer);

    const Rectangle& GetClipRect() const { return mClipRect; }
    const Vector2& GetOrigin() const { return mOrigin; }
    std::uint32_t GetVertexBudget() const { return mVertexBudget; }

private:
    friend class PrimitiveRenderer;

    /// The renderer of this frame; none before BeginList is a mistake of the caller.
    PrimitiveRenderer& GetRenderer() const;

    PrimitiveRenderer* mRenderer = nullptr;
    Rectangle mClipRect;
    Vector2 mOrigin;
    std::uint32_t mVertexBudget;
};
}
