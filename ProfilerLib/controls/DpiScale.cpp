#include "ProfilerLib/controls/DpiScale.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include <QtWidgets/QApplication>
#include <QtWidgets/QDesktopWidget>

namespace Profiler
{

namespace
{

float GetScale(int dotsPerInch)
{
    constexpr float cReferenceDpi = 96.0f;
    return std::clamp(static_cast<float>(dotsPerInch) / cReferenceDpi, 0.5f, 8.0f);
}

float Scale(float scale, float value, float factor)
{
    return std::round((factor == 1.0f ? scale : std::max(scale * factor, 1.0f)) * value);
}

}

float DpiScaleX()
{
    static std::optional<float> scale;
    if (!scale && qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr)
        scale = GetScale(QApplication::desktop()->physicalDpiX());
    return scale.value_or(1.0f);
}

float DpiScaleY()
{
    static std::optional<float> scale;
    if (!scale && qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr)
        scale = GetScale(QApplication::desktop()->physicalDpiY());
    return scale.value_or(1.0f);
}

float ScaledX(float value, float factor)
{
    return Scale(DpiScaleX(), value, factor);
}

float ScaledY(float value, float factor)
{
    return Scale(DpiScaleY(), value, factor);
}

}
