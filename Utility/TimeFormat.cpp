#include "Utility/TimeFormat.h"

#include "Utility/Clock.h"
#include "Utility/Format.h"

#include <array>
#include <cinttypes>
#include <cmath>
#include <ctime>
#include <limits>

namespace Utility
{
namespace
{
/// Converting a double that the integer cannot hold would be undefined.
int ToCount(double value)
{
    if (std::isnan(value))
    {
        return 0;
    }
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    return static_cast<int>(value < lowest ? lowest : value > highest ? highest : value);
}

struct Units
{
    explicit Units(double ms)
        : mHours(ToCount(std::floor(ms / 3'600'000.0))),
          mMinutes(ToCount(std::fmod(ms / 60'000.0, 60.0))),
          mSeconds(ToCount(std::fmod(ms / 1000.0, 60.0))),
          mMilliseconds(ToCount(std::fmod(ms, 1000.0))),
          mMicroseconds(ToCount(std::floor(std::fmod(ms, 1.0) * 1000.0)))
    {}

    int mHours;
    int mMinutes;
    int mSeconds;
    int mMilliseconds;
    int mMicroseconds;
};
}

std::string gFormatDuration(double ms)
{
    const Units units(ms);
    if (units.mHours > 0)
    {
        return gFormat("%dh%dm", units.mHours, units.mMinutes);
    }
    if (units.mMinutes > 0)
    {
        return gFormat("%dm%ds ", units.mMinutes, units.mSeconds);
    }
    if (units.mSeconds > 0)
    {
        return gFormat("%ds%dms", units.mSeconds, units.mMilliseconds);
    }
    if (units.mMilliseconds > 0)
    {
        return gFormat("%dms %d\u00B5s", units.mMilliseconds, units.mMicroseconds);
    }
    return gFormat("%d\u00B5s", units.mMicroseconds);
}

std::string gFormatDurationUnits(double ms, int precision)
{
    const Units units(ms);
    std::string text;
    if (units.mHours > 0)
    {
        text += gFormat("%dh ", units.mHours);
    }
    if (units.mMinutes >= 1 && precision >= 1)
    {
        text += gFormat("%dm ", units.mMinutes);
    }
    if (units.mSeconds >= 1 && precision >= 2)
    {
        text += gFormat("%ds ", units.mSeconds);
    }
    if (units.mMilliseconds >= 1 && precision >= 3)
    {
        text += gFormat("%dms ", units.mMilliseconds);
    }
    if (units.mMicroseconds >= 1 && precision >= 4)
    {
        text += gFormat("%d\u00B5s", units.mMicroseconds);
    }
    return text;
}

std::string gFormatClock(double ms, int precision)
{
    const Units units(ms);
    std::string text = gFormat("%02d", units.mHours);
    if (precision >= 1)
    {
        text += gFormat(":%02d", units.mMinutes);
    }
    if (precision >= 2)
    {
        text += gFormat(":%02d", units.mSeconds);
    }
    if (precision >= 3)
    {
        // Behind the microseconds' "." a second one would be hard to read.
        text += gFormat("%s%03d", precision == 3 ? "." : ":", units.mMilliseconds);
    }
    if (precision >= 4)
    {
        text += gFormat(".%03d", units.mMicroseconds);
    }
    return text;
}

std::string gFormatSize(std::int64_t bytes)
{
    struct Unit
    {
        std::int64_t mSize;
        const char* mName;
    };
    constexpr std::array<Unit, 3> units{{{1 << 30, "GiB"}, {1 << 20, "MiB"}, {1024, "KiB"}}};
    for (const Unit& unit : units)
    {
        if (bytes >= unit.mSize)
        {
            return gFormat(
                "%" PRId64 ".%" PRId64 " %s", bytes / unit.mSize, bytes % unit.mSize * 100 / unit.mSize, unit.mName);
        }
    }
    return gFormat("%" PRId64 " B", bytes);
}

std::string gFormatLocalTime(const char* format)
{
    const std::tm now = gGetLocalTime();
    std::array<char, 256> buffer;
    return std::string(buffer.data(), std::strftime(buffer.data(), buffer.size(), format, &now));
}
}
