#pragma once

#include "Renderer/Geometry.h"
#include "Renderer/Vectors.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

// The corners and vertices of all primitives, as plain data.

namespace Renderer
{
/// Four corners in the order in which quads are made of them: the first, along x from it, and the two of the far edge
/// in the same order.
///
///      0 --- 1        of a rectangle; of a line, 0 and 1 stand at its start and 2 and 3 at its end:
///      |     |
///      2 --- 3              1 ------ 3
///                           0 ------ 2   ->
using Quad = std::array<Vector2, 4>;

constexpr Quad gMakeRectangle(const Vector2& p0, const Vector2& p1)
{
    return {p0, {p1.mX, p0.mY}, {p0.mX, p1.mY}, p1};
}

/// Nothing for a line without a length, which has no direction, and for one whose ends are not finite.
[[nodiscard]] std::optional<Quad> gMakeLine(const Vector2& p0, const Vector2& p1, float thickness);

struct Line
{
    Vector2 mP0;
    Vector2 mP1;
};

/// The frame inside a rectangle as four lines: top, left, bottom, right. The sides stop short of top and bottom, so
/// that no two overlap.
std::array<Line, 4> gMakeFrame(const Vector2& p0, const Vector2& p1, float thickness);

/// From a joint to where the two sides of a line of that width meet on its right-hand side, seen along the line from
/// `before` to `after`. A line that folds back has its point cut off at 50 widths.
[[nodiscard]] Vector2 gGetMiter(const Vector2& before, const Vector2& joint, const Vector2& after, float width);

/// Positions and colours, without triangles.
template <std::size_t count>
void gAppendVertices(Geometry& geometry, float layer, const std::array<Vector2, count>& corners, const Colour& colour);
/// Four vertices of one colour and two triangles.
void gAppendQuad(Geometry& geometry, float layer, const Quad& corners, const Colour& colour);
/// The same with first coordinates (mask 13), or with both (mask 29).
void gAppendQuad(Geometry& geometry, float layer, const Quad& corners, const Quad& coordinates, const Colour& colour);
void gAppendQuad(Geometry& geometry, float layer, const Quad& corners, const Quad& firstCoordinates,
    const Quad& secondCoordinates, const Colour& colour);
void gAppendTriangle(Geometry& geometry, float layer, const std::array<Vector2, 3>& corners, const Colour& colour);
/// A line with faded sides (mask 29).
void gAppendShadowQuad(Geometry& geometry, float layer, const Quad& corners, float width, const Colour& colour);
/// One such quad a segment, joined in miters; at most 4 vertices a point. `origin` is added to the points. Points that
/// repeat their predecessor are passed over; fewer than two others leave nothing. A closed line goes back to its first
/// point.
void gAppendPolyline(Geometry& geometry, float layer, std::span<const Vector2> points, const Vector2& origin,
    float width, bool isClosed, const Colour& colour);

// Rectangles are what a chart is made of, so this much is inline. All of it goes straight to where it stays: copying
// small arrays from the stack in larger pieces than they were written in makes the processor wait for its own stores.

template <std::size_t count>
void gAppendVertices(Geometry& geometry, float layer, const std::array<Vector2, count>& corners, const Colour& colour)
{
    float* position = geometry.Extend(EVertexKind::Position, count);
    for (const Vector2& corner : corners)
    {
        *position++ = layer;
        *position++ = corner.mX;
        *position++ = corner.mY;
    }
    float* value = geometry.Extend(EVertexKind::Colour, count);
    for (std::size_t i = 0; i < count; ++i, value += 4)
    {
        std::memcpy(value, &colour, sizeof(colour));
    }
}

inline void gAppendQuad(Geometry& geometry, float layer, const Quad& corners, const Colour& colour)
{
    const auto base = static_cast<std::uint32_t>(geometry.GetVertexCount());
    std::uint32_t* const indices = geometry.ExtendIndices(6);
    indices[0] = base + 2;
    indices[1] = base + 1;
    indices[2] = base;
    indices[3] = base + 1;
    indices[4] = base + 2;
    indices[5] = base + 3;
    gAppendVertices(geometry, layer, corners, colour);
}
}
