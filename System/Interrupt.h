#pragma once

#include <atomic>

namespace System
{

/// From now on the user's interrupt (Ctrl-C) and a polite request to end set the returned flag instead of ending the
/// process. A second one ends it at once, in case the first is not heard. Called once, before threads are started.
const std::atomic<bool>& gCatchInterrupts();

/// Ends this process by the interrupt that was caught, as whoever started it expects: a shell then stops its script.
[[noreturn]] void gEndByInterrupt();

}
