#pragma once

#include "Quarkspindle/WindowModule.h"

namespace Quarkspindle
{

/// Makes the picture, on the display that there is or on a private one, without a window on it. False with the reason
/// in `result`, with nothing written. `main`'s thread, once in a run, before any other use of Qt.
[[nodiscard]] bool gTakeSnapshot(
    const SnapshotRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result);

}
