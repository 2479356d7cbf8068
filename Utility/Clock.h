#pragma once

#include <ctime>

namespace Utility
{
/// A clock that only goes forward, from an arbitrary start.
[[nodiscard]] double gGetTimeSeconds();
[[nodiscard]] double gGetTimeMs();

/// The present time in the user's time zone, safe on any thread.
[[nodiscard]] std::tm gGetLocalTime();
}
