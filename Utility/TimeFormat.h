#pragma once

#include <cstdint>
#include <string>

/// The user's view of times and sizes. Times are milliseconds. Numbers that a count cannot hold are clamped to what it
/// can, and a time that is no number counts as 0.
namespace Utility
{
/// The two leading units: "1h5m", "1m30s ", "1s500ms", "2ms 250µs", "500µs".
[[nodiscard]] std::string gFormatDuration(double ms);

/// All units down to `precision` (0 hours, 1 minutes, 2 seconds, 3 milliseconds, 4 microseconds), those of value 0 left
/// out: "1h 1m 1s ". Time 0 gives an empty text.
[[nodiscard]] std::string gFormatDurationUnits(double ms, int precision);

/// Clock notation with as many units: "01:02:03", "01:02:03.004", "01:02:03:004.005".
[[nodiscard]] std::string gFormatClock(double ms, int precision);

/// Binary units with hundredths: "1.50 KiB". Below ten hundredths print with one digit.
[[nodiscard]] std::string gFormatSize(std::int64_t bytes);

/// The present local time by a format of `strftime`. Empty when the text does not fit into 255 bytes.
[[nodiscard, gnu::format(strftime, 1, 0)]] std::string gFormatLocalTime(const char* format);
}
