#pragma once

#include <cstdint>
#include <string>

#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

/// A function that an address was found in.
struct ResolvedFunction
{
    uint64_t Address = ~uint64_t{0}; ///< in the recorded process
    uint64_t Size = 0;               ///< 0 when the symbols do not say
    std::string Name;

    bool operator==(const ResolvedFunction&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<ResolvedFunction>("Profiler::ResolvedFunction", RTTI::Version{1},
            RTTI::Field<&ResolvedFunction::Address>{"Address"}, RTTI::Field<&ResolvedFunction::Size>{"Size"},
            RTTI::Field<&ResolvedFunction::Name>{"Name"});
    }
};

}
