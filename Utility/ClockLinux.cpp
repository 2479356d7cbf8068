#include "Utility/Clock.h"

#include <time.h>

namespace Utility
{
std::tm gGetLocalTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm result{};
    localtime_r(&now, &result);
    return result;
}
}
