#pragma once

#include <cstdint>
#include <string>

namespace Profiler
{

class Module;

/// What the lookup of an address gives.
struct ResolvedAddress
{
    static constexpr uint64_t cNoFunction = ~uint64_t{0};

    Module* mModule = nullptr; ///< null when not even that is known; lives as long as its database
    uint64_t mFunctionAddress = cNoFunction;
    uint64_t mFunctionSize = 0;
    uint64_t mAddress = ~uint64_t{0}; ///< the address that was asked for
    std::string mName;

    bool operator==(const ResolvedAddress&) const = default;

    bool HasFunction() const { return mModule != nullptr && mFunctionAddress != cNoFunction; }

    /// The function's name, or the address as "0x7FF6A0001234" when there is none.
    std::string GetDisplayName() const;
};

}
