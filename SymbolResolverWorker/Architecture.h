#pragma once

#include <cstdint>

namespace Symbols
{

/// The processors whose code can be shown.
enum class EArchitecture : uint8_t
{
    Unknown,
    X86,
    X64,
    Arm,
    Arm64,
};

}
