#include "Renderer/CubicToConics.h"

#include <algorithm>
#include <cmath>

namespace Renderer
{
namespace
{
OutlinePoint Mix(OutlinePoint a, OutlinePoint b, float t)
{
    return {a.mX + (b.mX - a.mX) * t, a.mY + (b.mY - a.mY) * t};
}

/// The pieces of a cubic in front of `t` and behind it.
std::array<std::array<OutlinePoint, 4>, 2> Split(const std::array<OutlinePoint, 4>& cubic, float t)
{
    const OutlinePoint a = Mix(cubic[0], cubic[1], t);
    const OutlinePoint b = Mix(cubic[1], cubic[2], t);
    const OutlinePoint c = Mix(cubic[2], cubic[3], t);
    const OutlinePoint d = Mix(a, b, t);
    const OutlinePoint e = Mix(b, c, t);
    const OutlinePoint middle = Mix(d, e, t);
    return {{{cubic[0], a, d, middle}, {middle, e, c, cubic[3]}}};
}

/// How many pieces of equal parameter length each lie within the tolerance of a conic. The conic with the same ends
/// whose control point is (3 p1 + 3 p2 - p0 - p3) / 4 is nowhere further from its cubic than
/// sqrt(3) / 36 * |p3 - 3 p2 + 3 p1 - p0| (T. W. Sederberg, Computer Aided Geometric Design, on degree reduction); for
/// one of n pieces that difference is smaller by n to the third.
int CountPieces(const std::array<OutlinePoint, 4>& cubic, float tolerance)
{
    const float x = cubic[3].mX - 3.0f * cubic[2].mX + 3.0f * cubic[1].mX - cubic[0].mX;
    const float y = cubic[3].mY - 3.0f * cubic[2].mY + 3.0f * cubic[1].mY - cubic[0].mY;
    const float error = std::sqrt(3.0f) / 36.0f * std::hypot(x, y);
    constexpr float cMost = 64.0f;
    return static_cast<int>(std::clamp(std::ceil(std::cbrt(error / tolerance)), 1.0f, cMost));
}
}

void gAppendConics(
    const std::array<OutlinePoint, 4>& cubic, float tolerance, std::vector<std::array<OutlinePoint, 2>>& conics)
{
    std::array<OutlinePoint, 4> rest = cubic;
    for (int left = CountPieces(cubic, tolerance); left > 0; --left)
    {
        const auto [piece, behind] = Split(rest, 1.0f / static_cast<float>(left));
        const OutlinePoint control{(3.0f * (piece[1].mX + piece[2].mX) - piece[0].mX - piece[3].mX) * 0.25f,
            (3.0f * (piece[1].mY + piece[2].mY) - piece[0].mY - piece[3].mY) * 0.25f};
        conics.push_back({control, left > 1 ? piece[3] : cubic[3]});
        rest = behind;
    }
}
}
