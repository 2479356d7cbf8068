#pragma once

#include <atomic>

namespace System
{

/// From now on the user's interrupt (Ctrl-C), a closed terminal and a polite request to end set the returned flag
/// instead of ending the process. Repeats do no more, so that the work has time to take itself back, but the fifth ends
/// the process, in case the flag is not heard. A write beyond the limit of a file's size fails instead of ending the
/// process. Called once, before threads are started.
const std::atomic<bool>& gCatchInterrupts();

/// Ends this process by the interrupt that was caught, as whoever started it expects: a shell then stops its script.
[[noreturn]] void gEndByInterrupt();

}
