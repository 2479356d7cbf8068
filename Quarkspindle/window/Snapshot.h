#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "Utility/Result.h"

namespace Quarkspindle
{

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

/// Makes the picture, on the display that there is or on a private one, without a window on it. False with the reason
/// in `result`, with nothing written. `main`'s thread, once in a run, before any other use of Qt.
[[nodiscard]] bool gTakeSnapshot(
    const SnapshotRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result);

}
