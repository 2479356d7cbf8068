#pragma once

namespace Profiler
{

/// The desktop's physical dots per inch in each direction, divided by 96: what sizes of controls are multiplied with,
/// so that they come out equally large on all screens. 1 while there is no QApplication; what the first call with one
/// finds is kept. A screen that gives itself an impossible size counts as one of 0.5 or 8. The GUI thread only.
float DpiScaleX();
float DpiScaleY();

/// A size for 96 dots per inch in whole pixels of this desktop. With a factor, at least the value itself times that is
/// kept: round(max(scale * factor, 1) * value).
float ScaledX(float value, float factor = 1.0f);
float ScaledY(float value, float factor = 1.0f);

}
