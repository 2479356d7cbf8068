#include "Renderer/PrimitiveGeometry.h"

#include <cmath>
#include <limits>

namespace Renderer
{
namespace
{
/// How far a miter may lean: below it, or nearly straight, the sine counts as this much.
constexpr float gMinimumSine = 0.01f;

void AppendCoordinates(Geometry& geometry, EVertexKind kind, const Quad& coordinates)
{
    float* value = geometry.Extend(kind, coordinates.size());
    for (const Vector2& coordinate : coordinates)
    {
        *value++ = coordinate.mX;
        *value++ = coordinate.mY;
    }
}

/// A vector of length 1, or nothing when it has no direction or is not finite.
std::optional<Vector2> Normalise(const Vector2& vector)
{
    const float length = gLength(vector);
    if (!(length > 0.0f && length <= std::numeric_limits<float>::max()))
    {
        return std::nullopt;
    }
    return vector * (1.0f / length);
}

/// The two sides of a line at one of its joints.
struct Sides
{
    Vector2 mRight;
    Vector2 mLeft;
};

std::size_t FindNextOther(std::span<const Vector2> points, std::size_t index)
{
    std::size_t next = index + 1;
    while (next < points.size() && points[next] == points[index])
    {
        ++next;
    }
    return next;
}
}

std::optional<Quad> gMakeLine(const Vector2& p0, const Vector2& p1, float thickness)
{
    const std::optional<Vector2> direction = Normalise(p1 - p0);
    if (!direction)
    {
        return std::nullopt;
    }
    const Vector2 side = Vector2{-direction->mY, direction->mX} * (thickness * 0.5f);
    return Quad{p0 + side, p0 - side, p1 + side, p1 - side};
}

std::array<Line, 4> gMakeFrame(const Vector2& p0, const Vector2& p1, float thickness)
{
    const float half = thickness * 0.5f;
    return {{{{p0.mX, p0.mY + half}, {p1.mX, p0.mY + half}},
        {{p0.mX + half, p0.mY + thickness}, {p0.mX + half, p1.mY - thickness}},
        {{p0.mX, p1.mY - half}, {p1.mX, p1.mY - half}},
        {{p1.mX - half, p0.mY + thickness}, {p1.mX - half, p1.mY - thickness}}}};
}

Vector2 gGetMiter(const Vector2& before, const Vector2& joint, const Vector2& after, float width)
{
    const Vector2 back = Normalise(before - joint).value_or(Vector2{});
    const Vector2 ahead = Normalise(after - joint).value_or(Vector2{});
    const Vector2 sum = back + ahead;
    const float length = gLength(sum);
    if (length <= gMinimumSine)
    {
        return Vector2{-ahead.mY, ahead.mX} * (width * 0.5f);
    }
    const Vector2 middle = sum * (1.0f / length);
    float sine = middle.mY * ahead.mX - middle.mX * ahead.mY;
    if (std::abs(sine) < gMinimumSine)
    {
        sine = sine < 0.0f ? -gMinimumSine : gMinimumSine;
    }
    return middle * (width * 0.5f / sine);
}

void gAppendQuad(Geometry& geometry, float layer, const Quad& corners, const Quad& coordinates, const Colour& colour)
{
    gAppendQuad(geometry, layer, corners, colour);
    AppendCoordinates(geometry, EVertexKind::FirstCoordinates, coordinates);
}

void gAppendQuad(Geometry& geometry, float layer, const Quad& corners, const Quad& firstCoordinates,
    const Quad& secondCoordinates, const Colour& colour)
{
    gAppendQuad(geometry, layer, corners, firstCoordinates, colour);
    AppendCoordinates(geometry, EVertexKind::SecondCoordinates, secondCoordinates);
}

void gAppendTriangle(Geometry& geometry, float layer, const std::array<Vector2, 3>& corners, const Colour& colour)
{
    const auto base = static_cast<std::uint32_t>(geometry.GetVertexCount());
    std::uint32_t* const indices = geometry.ExtendIndices(3);
    indices[0] = base;
    indices[1] = base + 1;
    indices[2] = base + 2;
    gAppendVertices(geometry, layer, corners, colour);
}

void gAppendShadowQuad(Geometry& geometry, float layer, const Quad& corners, float width, const Colour& colour)
{
    gAppendQuad(
        geometry, layer, corners, {{{0, 0}, {width, 0}, {0, 0}, {width, 0}}}, gMakeRectangle({0, 0}, {1, 1}), colour);
}

void gAppendPolyline(Geometry& geometry, float layer, std::span<const Vector2> points, const Vector2& origin,
    float width, bool isClosed, const Colour& colour)
{
    while (isClosed && points.size() > 1 && points.back() == points.front())
    {
        points = points.first(points.size() - 1);
    }
    const std::size_t second = points.empty() ? 0 : FindNextOther(points, 0);
    if (second >= points.size())
    {
        return;
    }
    // There and back between two points is a line.
    isClosed = isClosed && FindNextOther(points, second) < points.size();

    // An open line goes straight through its ends, which makes them square.
    Vector2 before = isClosed ? points.back() : points.front() * 2.0f - points[second];
    Sides first;
    Sides previous;
    for (std::size_t index = 0; index < points.size();)
    {
        const Vector2& joint = points[index];
        const std::size_t next = FindNextOther(points, index);
        const Vector2 after = next < points.size() ? points[next] : isClosed ? points.front() : joint * 2.0f - before;
        const Vector2 miter = gGetMiter(before, joint, after, width);
        const Sides sides{joint + miter + origin, joint - miter + origin};
        if (index == 0)
        {
            first = sides;
        }
        else
        {
            gAppendShadowQuad(
                geometry, layer, {previous.mRight, previous.mLeft, sides.mRight, sides.mLeft}, width, colour);
        }
        previous = sides;
        before = joint;
        index = next;
    }
    if (isClosed)
    {
        gAppendShadowQuad(geometry, layer, {previous.mRight, previous.mLeft, first.mRight, first.mLeft}, width, colour);
    }
}
}
