#include "Renderer/DesktopFont.h"

#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QScreen>

#include <array>
#include <cmath>
#include <utility>

namespace Renderer
{
namespace
{
constexpr float cReferenceDpi = 96.0f;

/// From the scale of this Qt, which ends at 99, to that of OpenType.
std::int32_t GetOpenTypeWeight(int weight)
{
    constexpr std::array<std::pair<int, std::int32_t>, 9> cWeights{{{QFont::Thin, 100}, {QFont::ExtraLight, 200},
        {QFont::Light, 300}, {QFont::Normal, FaceRequest::cRegular}, {QFont::Medium, 500}, {QFont::DemiBold, 600},
        {QFont::Bold, FaceRequest::cBold}, {QFont::ExtraBold, 800}, {QFont::Black, 900}}};
    std::int32_t nearest = cWeights.front().second;
    for (const auto& [from, to] : cWeights)
    {
        nearest = weight >= from ? to : nearest;
    }
    return nearest;
}

float GetVerticalDpi()
{
    const QScreen* const screen = qGuiApp != nullptr ? QGuiApplication::primaryScreen() : nullptr;
    const float dpi = screen != nullptr ? static_cast<float>(screen->physicalDotsPerInchY()) : 0.0f;
    // A screen may not know how large it is.
    return std::isfinite(dpi) && dpi > 0.0f ? dpi : cReferenceDpi;
}
}

DesktopFont gGetDesktopFont()
{
    DesktopFont desktop{{"DejaVu Sans", FaceRequest::cRegular, false}, 0};
    if (qGuiApp == nullptr)
    {
        return desktop;
    }
    const QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    if (!font.family().isEmpty())
    {
        desktop.mFace = {font.family().toStdString(), GetOpenTypeWeight(font.weight()), font.italic()};
    }
    if (font.pixelSize() > 0)
    {
        desktop.mPixels = font.pixelSize();
    }
    else if (font.pointSizeF() > 0.0)
    {
        constexpr double cPointsPerInch = 72.0;
        const QScreen* const screen = QGuiApplication::primaryScreen();
        const double dpi = screen != nullptr ? screen->logicalDotsPerInchY() : double{cReferenceDpi};
        desktop.mPixels = qRound(font.pointSizeF() * dpi / cPointsPerInch);
    }
    return desktop;
}

float GetDefaultFontSize()
{
    static float size = 0.0f;
    if (size == 0.0f)
    {
        const int pixels = gGetDesktopFont().mPixels;
        size = pixels > 1 ? static_cast<float>(pixels - 1) : GetVerticalDpi() / cReferenceDpi * 11.5f;
    }
    return size;
}
}
