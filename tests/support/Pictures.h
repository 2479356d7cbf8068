#pragma once

#include <QtGui/QImage>

#include <string>

namespace Tests
{

/// The number of pixels that have a channel off by more than 4 of 255, or -1 when the sizes differ.
int gCountDeviations(const QImage& picture, const QImage& reference);

/// Writes a picture to `<output>/<name>.png` and compares it with the one in `reference` that was looked at before. It
/// passes when no more than one pixel in a thousand deviates: that leaves room for drivers that round an edge through
/// the centre of a pixel the other way, and for nothing that one could see. Says on standard output what is wrong.
[[nodiscard]] bool gIsPictureAsBefore(
    const QImage& picture, const std::string& name, const std::string& output, const std::string& reference);

}
