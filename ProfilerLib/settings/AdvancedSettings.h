#pragma once

#include <cstdint>

#include "Serialization/RTTI/TypeOf.h"

namespace Profiler
{

/// Settings for which there is no page in any dialog. Part of `Settings`.
class AdvancedSettings : public RTTI::Object
{
public:
    int32_t KernelSessionRetryMode = 0; ///< kept for the recorders that read it

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<AdvancedSettings>(); }

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<AdvancedSettings>("Profiler::AdvancedSettings", RTTI::Version{1},
            RTTI::Base<RTTI::Object>{},
            RTTI::Field<&AdvancedSettings::KernelSessionRetryMode>{"KernelSessionRetryMode"});
    }
};

}
