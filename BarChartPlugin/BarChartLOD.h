#pragma once

#include "Serialization/RTTI/TypeOf.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Profiler
{

/// One level of detail of a chart: level k keeps one bar per 2^k occurrences. `Bars` has ceil(`NumEvents` /
/// 2^`LODLevel`) entries, and all but the last cover 2^k occurrences. Times are in milliseconds on the capture's clock.
struct BarChartLOD
{
    struct Bar
    {
        double StartTimeMs = 0.0; ///< start of the first occurrence that the bar covers
        double EndTimeMs = 0.0;   ///< end of the last one
        double Minimum = 0.0;     ///< shortest duration among them
        double TotalTimeMs = 0.0; ///< sum of their durations
        double Maximum = 0.0;     ///< longest duration among them
        std::string Context;      ///< what the program passed along with the occurrence; at level 0 only

        static consteval auto sDescribe()
        {
            return RTTI::gDescribe<Bar>("Profiler::BarChartLOD::Bar", RTTI::Version{2},
                RTTI::Field<&Bar::StartTimeMs>{"StartTimeMs"}, RTTI::Field<&Bar::EndTimeMs>{"EndTimeMs"},
                RTTI::Field<&Bar::Minimum>{"Minimum"}, RTTI::Field<&Bar::TotalTimeMs>{"TotalTimeMs"},
                RTTI::Field<&Bar::Maximum>{"Maximum"}, RTTI::Field<&Bar::Context>{"Context"});
        }
    };

    std::vector<Bar> Bars; ///< in the order of the occurrences
    int32_t NumEvents = 0; ///< occurrences added so far
    int32_t LODLevel = 0;

    /// Adds the next occurrence: a new bar, or more of the last one.
    void AddEvent(double startTimeMs, double endTimeMs, std::string_view context);

    /// Index of the bar with exactly that time, or -1. There is no tolerance: callers pass times that came out of bars.
    [[nodiscard]] int32_t FindBarByStartTime(double timeMs) const;
    [[nodiscard]] int32_t FindBarByEndTime(double timeMs) const;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<BarChartLOD>("Profiler::BarChartLOD", RTTI::Version{1},
            RTTI::Field<&BarChartLOD::Bars>{"Bars"}, RTTI::Field<&BarChartLOD::NumEvents>{"NumEvents"},
            RTTI::Field<&BarChartLOD::LODLevel>{"LODLevel"});
    }
};

}
