#pragma once

#include "Renderer/OutlineSource.h"

namespace Renderer
{
/// The font that the user's desktop writes its messages with.
struct DesktopFont
{
    FaceRequest mFace;
    /// Height of the em square in pixels; 0 when the desktop names no size.
    int mPixels = 0;
};

/// DejaVu Sans without a size while there is no QGuiApplication, or when the desktop names no font. Its thread only.
DesktopFont gGetDesktopFont();

/// The height in pixels of a line of text, where nothing else is asked for: one less than the em square of the
/// desktop's font; where the desktop names no size 11.5 for 96 dots per inch of the screen, and in proportion. What the
/// first call finds is kept for the life of the process. The thread of the QGuiApplication only.
float GetDefaultFontSize();
}
