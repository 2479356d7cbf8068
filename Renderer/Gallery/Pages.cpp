#include "Renderer/Gallery/Gallery.h"

#include "Renderer/FontManager.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>

namespace Gallery
{

namespace
{

using Renderer::Colour;
using Renderer::PrimitiveList;
using Renderer::PrimitiveRenderer;
using Renderer::Vector2;

constexpr Colour gInk{0.13f, 0.16f, 0.25f, 1.0f};
constexpr Colour gUpperBar{0.697f, 0.731f, 0.85f, 0.85f};
constexpr Colour gLowerBar{0.82f, 0.86f, 1.0f, 1.0f};
constexpr Colour gOrange{0.93f, 0.52f, 0.10f, 1.0f};
constexpr Colour gTeal{0.05f, 0.55f, 0.55f, 1.0f};
constexpr float gPi = 3.14159265f;

Colour Fade(Colour colour, float alpha)
{
    colour.mAlpha *= alpha;
    return colour;
}

/// Rectangles, frames and bordered rectangles at whole and at fractional positions.
void DrawRectangles(PrimitiveRenderer&, std::span<PrimitiveList> lists)
{
    PrimitiveList& list = lists.front();
    for (int i = 0; i < 8; ++i)
    {
        const float x = 10 + static_cast<float>(i) * 38.125f;
        const auto thickness = static_cast<float>(1 + i % 4);
        list.FillRect({x, 10}, {x + 30, 50}, Fade(gTeal, static_cast<float>(i + 1) / 8), 5);
        list.FrameRect({x, 60}, {x + 30, 100}, thickness, gInk, 5);
        list.BorderedRect({x, 110}, {x + 30, 150}, thickness, gLowerBar, gInk, 5, 5);
        list.FrameRect({x, 160}, {x + 30, 200}, thickness, Fade(gOrange, 0.5f), 5);
    }
}

/// A fan of lines in every direction, and lines of growing thickness.
void DrawLines(PrimitiveRenderer&, std::span<PrimitiveList> lists)
{
    PrimitiveList& list = lists.front();
    const Vector2 centre{110, 110};
    for (int i = 0; i < 36; ++i)
    {
        const float angle = static_cast<float>(i) * gPi / 18;
        const Vector2 direction{std::cos(angle), std::sin(angle)};
        list.DrawLine(centre + direction * 30, centre + direction * 100, static_cast<float>(1 + i % 3), gInk, 5);
    }
    for (int i = 1; i <= 9; ++i)
    {
        const float y = static_cast<float>(i) * 22;
        list.DrawLine({230, y}, {310, y + 7}, static_cast<float>(i), Fade(gTeal, 0.7f), 5);
    }
    // Without a direction: nothing to be seen.
    list.DrawLine(centre, centre, 20, gOrange, 4);
}

/// Lines with faded sides: alone, joined, closed, and around a rectangle.
void DrawShadows(PrimitiveRenderer&, std::span<PrimitiveList> lists)
{
    PrimitiveList& list = lists.front();
    for (int i = 0; i < 4; ++i)
    {
        const float y = 20 + static_cast<float>(i) * 25;
        list.DrawShadowLine({15, y}, {95, y + 10}, static_cast<float>(6 + i * 6), gInk, 5);
    }
    std::array<Vector2, 9> wave;
    for (std::size_t i = 0; i < wave.size(); ++i)
    {
        wave[i] = {115 + static_cast<float>(i) * 24, i % 2 == 0 ? 25.0f : 85.0f};
    }
    list.DrawPolyline(wave, 14, Fade(gTeal, 0.8f), false, 5);
    std::array<Vector2, 10> star;
    for (std::size_t i = 0; i < star.size(); ++i)
    {
        const float angle = static_cast<float>(i) * gPi / 5 - gPi / 2;
        star[i] = Vector2{65, 175} + Vector2{std::cos(angle), std::sin(angle)} * (i % 2 == 0 ? 50.0f : 24.0f);
    }
    list.DrawPolyline(star, 10, Fade(gOrange, 0.8f), true, 5);
    list.DrawShadowRect({135, 125}, {310, 225}, 16, Fade(gInk, 0.6f), 5);
    list.DrawShadowRect({175, 155}, {270, 195}, 10, gTeal, 5);
}

/// Dashes of several lengths and offsets, stripes over adjoining rectangles, triangles.
void DrawPatterns(PrimitiveRenderer& renderer, std::span<PrimitiveList> lists)
{
    PrimitiveList& list = lists.front();
    for (int i = 0; i < 8; ++i)
    {
        const float y = 12 + static_cast<float>(i) * 12;
        list.DrawDashedLine({10, y}, {150, y}, static_cast<float>(1 + i % 3), static_cast<float>(2 + i * 2),
            static_cast<float>(i), gInk, 5);
    }
    list.DrawDashedLine({10, 110}, {150, 190}, 3, 8, 0, gTeal, 5);
    for (int i = 0; i < 4; ++i)
    {
        const float x = 170 + static_cast<float>(i) * 35;
        renderer.FillHatchedRect({x, 10 + static_cast<float>(i) * 10}, {x + 35, 100}, gOrange, 5);
    }
    for (int i = 0; i < 4; ++i)
    {
        const float x = 170 + static_cast<float>(i) * 35;
        list.FillTriangle({x, 110}, {x, 145}, {x + 30, 145}, Fade(gTeal, static_cast<float>(i + 1) / 4), 5);
        list.FillTriangle({x + 33, 150}, {x + 3, 150}, {x + 33, 185}, gInk, 5);
    }
}

/// Layers, clip rectangles and origins of several lists.
void DrawClips(PrimitiveRenderer& renderer, std::span<PrimitiveList> lists)
{
    PrimitiveList& list = lists.front();
    list.FillRect({0, 0}, {320, 200}, gLowerBar, 9);
    list.FillRect({20, 20}, {140, 100}, Fade(gOrange, 0.6f), 7);
    list.FillRect({60, 60}, {180, 140}, Fade(gTeal, 0.6f), 6);
    list.FillRect({100, 40}, {220, 120}, Fade(gInk, 0.6f), 5);
    const std::span<PrimitiveList> clipped = lists.subspan(1);
    for (std::size_t i = 0; i < clipped.size(); ++i)
    {
        const Vector2 origin{20 + static_cast<float>(i) * 95, 125};
        renderer.BeginList(clipped[i], {origin.mX, origin.mY, 79, 59}, origin);
        for (int ring = 0; ring < 6; ++ring)
        {
            const auto inset = static_cast<float>(ring * 12 - 30);
            clipped[i].FrameRect({inset, inset}, {110 - inset, 90 - inset}, 4, i == 1 ? gOrange : gInk, 3);
        }
    }
}

/// Two levels of detail of a chart while one fades into the other.
void DrawBars(PrimitiveRenderer&, std::span<PrimitiveList> lists)
{
    PrimitiveList& list = lists.front();
    const auto drawLevel = [&list](int count, float alpha, std::uint32_t layer) {
        const float width = 320.0f / static_cast<float>(count);
        for (int i = 0; i < count; ++i)
        {
            const float x = static_cast<float>(i) * width;
            const float maximum = 90 + 70 * std::sin(static_cast<float>(i) * width / 30);
            const float average = maximum * 0.6f;
            list.FillRect({x, 200 - maximum}, {x + width - 2, 200 - average}, Fade(gUpperBar, alpha), layer);
            list.FillRect({x, 200 - average}, {x + width - 2, 200}, Fade(gLowerBar, alpha), layer);
        }
    };
    drawLevel(80, 0.4f, 103);
    drawLevel(20, 0.7f, 102);
    list.BorderedRect({118, 0}, {194, 200}, 2, {1, 1, 0.6f, 0.3f}, {0, 0, 0, 0.45f}, 101, 101);
}

/// Sizes, fractional positions, styles, clipping, frames; light on dark as well.
void DrawTexts(PrimitiveRenderer& renderer, std::span<PrimitiveList> lists)
{
    // The same on every desktop.
    renderer.SetFont("DejaVu Sans", 0);
    PrimitiveList& list = lists.front();
    float y = 6;
    for (const float size : {9.0f, 11.0f, 12.0f, 14.0f, 16.0f, 20.0f, 28.0f, 44.0f})
    {
        list.DrawText(
            {8, y}, size, gInk, "Hamburgefonstiv 0123456789 \u00e4\u00f6\u00fc\u00df \u20ac (std::vector<int>)", 5);
        y += size + 4;
    }
    for (int i = 0; i < 8; ++i)
    {
        const float shift = static_cast<float>(i) / 8;
        list.DrawText({8 + static_cast<float>(i) * 56 + shift, y}, 12, gInk, "illusion", 5);
        list.DrawText({8 + static_cast<float>(i) * 56, y + 18 + shift}, 12, gInk, "ZEBRA", 5);
    }
    y += 40;
    list.FillRect({4, y}, {476, y + 30}, gInk, 6);
    list.DrawText({10, y + 8}, 13, gLowerBar, "light on dark", 5);
    renderer.SetFont("DejaVu Sans", Renderer::StyleFlags::cBold);
    list.DrawText({120, y + 8}, 13, gOrange, "bold", 5);
    renderer.SetFont("DejaVu Sans", Renderer::StyleFlags::cItalic);
    list.DrawText({180, y + 8}, 13, gUpperBar, "oblique", 5);
    renderer.SetFont("DejaVu Serif", 0);
    list.DrawText({260, y + 8}, 13, gUpperBar, "another typeface", 5);
    renderer.SetFont("DejaVu Sans", 0);
    y += 38;
    // Glyphs that stick out of the borders are left out whole.
    list.FillRect({100, y}, {300, y + 18}, gLowerBar, 6);
    list.DrawText({80, y + 2}, 14, gInk, "no glyph is cut in two at either of these borders", 5, {100, 300});
    y += 26;
    list.DrawFramedText({8, y}, 12, 4, 1, "11.25 ms", {1, 1, 0.88f, 1}, gInk, gInk, 5, 4);
    list.DrawFramedText({120, y}, 16, 6, 2, "\u65e5 \xff missing", gLowerBar, gTeal, gInk, 5, 4);
}

constexpr Page gPages[] = {{"rectangles", 320, 210, DrawRectangles}, {"lines", 320, 220, DrawLines},
    {"shadows", 330, 240, DrawShadows}, {"patterns", 320, 200, DrawPatterns}, {"clips", 320, 200, DrawClips},
    {"bars", 320, 200, DrawBars}, {"text", 480, 330, DrawTexts}};

}

std::span<const Page> gGetPages()
{
    return gPages;
}

}
