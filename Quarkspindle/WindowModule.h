#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Utility/Result.h"

namespace Quarkspindle
{

/// The window, as the user asked for it.
struct WindowRequest
{
    std::vector<std::string> mPaths; ///< of captures and traces to open
    bool mExitsAtFirstFrame = false;
};

/// A picture of a capture's view, or of the whole window around it, as it would be on screen.
struct SnapshotRequest
{
    std::string mPath;  ///< of a capture or a trace
    std::string mEvent; ///< empty: the chart that the window would open with
    std::optional<int32_t> mThreadID;
    std::optional<std::pair<int32_t, int32_t>> mRange; ///< first and last occurrence
    std::pair<int, int> mSize{1400, 900};              ///< pixels
    bool mWithWindow = false;
    std::string mOutput; ///< a PNG file, replaced in one step
};

/// All that draws is a module of its own beside the program, `QuarkspindleWindow.so`, so that the other commands start
/// without Qt. It is the program once more, with a host and a plug-in of its own, and meets it in this record only,
/// which it exports as `windowModule`. Both are built from the same tree: `Version` is first, and compared before the
/// rest is touched.
struct WindowModule
{
    const char* Version;

    /// Shows the window until it is closed. Where there is no display a picture of it is written instead. False with
    /// the reason in `result`.
    bool (*RunWindow)(const WindowRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result);

    /// Makes the picture, on the display that there is or on a private one, without a window on it. False with the
    /// reason in `result`, with nothing written.
    bool (*TakeSnapshot)(const SnapshotRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result);
};

/// Loads the module, once in a run and on `main`'s thread; it stays until the process ends. Null with the reason in
/// `result` where it is missing or of another build.
const WindowModule* gLoadWindowModule(Utility::Result& result);

}
