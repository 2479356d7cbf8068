#pragma once

#include "Quarkspindle/WindowModule.h"

namespace Quarkspindle
{

/// What `WindowModule::RunWindow` is.
[[nodiscard]] bool gRunWindow(
    const WindowRequest& request, const std::atomic<bool>& interrupted, Utility::Result& result);

}
