#pragma once

#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Hash.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Profiler
{

/// The key of a chart: one instrumentation event on one thread.
struct BarChartDescription
{
    std::string Name; ///< byte for byte as the trace event has it
    int32_t ThreadID = 0;

    bool operator==(const BarChartDescription&) const = default;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<BarChartDescription>("Profiler::BarChartDescription", RTTI::Version{1},
            RTTI::Field<&BarChartDescription::Name>{"Name"}, RTTI::Field<&BarChartDescription::ThreadID>{"ThreadID"});
    }
};

/// A description that borrows its name, to look one up by without making a string.
struct BarChartDescriptionView
{
    std::string_view Name;
    int32_t ThreadID = 0;

    BarChartDescriptionView(std::string_view name, int32_t threadID) : Name{name}, ThreadID{threadID} {}
    BarChartDescriptionView(const BarChartDescription& description)
        : Name{description.Name},
          ThreadID{description.ThreadID}
    {}

    bool operator==(const BarChartDescriptionView&) const = default;
};

/// FNV-1a of the name, combined by exclusive or with FNV-1a of the thread's eight little-endian bytes.
[[nodiscard]] constexpr uint64_t gHashBarChartDescription(std::string_view name, int32_t threadID)
{
    char bytes[sizeof(uint64_t)] = {};
    auto rest = static_cast<uint64_t>(int64_t{threadID});
    for (char& byte : bytes)
    {
        byte = static_cast<char>(rest & 0xFF);
        rest >>= 8;
    }
    return Utility::gFNV1a64(name) ^ Utility::gFNV1a64(std::string_view{bytes, sizeof(bytes)});
}

/// Hash and equality of a set of descriptions that is also searched by views.
struct BarChartDescriptionHash
{
    using is_transparent = void;

    std::size_t operator()(const BarChartDescriptionView& description) const
    {
        return gHashBarChartDescription(description.Name, description.ThreadID);
    }
};

struct BarChartDescriptionEqual
{
    using is_transparent = void;

    bool operator()(const BarChartDescriptionView& a, const BarChartDescriptionView& b) const { return a == b; }
};

}
