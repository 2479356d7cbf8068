#pragma once

#include "ProfilerLib/session/RegisterTypes.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"

namespace Profiler
{
/// Readies an empty registry for captures without a plug-in: for tests, benchmarks and fuzz targets. What a program has
/// is registered by its host.
inline void gRegisterCaptureTypes(RTTI::TypeRegistry& registry)
{
    {
        const auto scope = registry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(registry);
        gRegisterProfilerTypes(registry);
        Serialization::gRegisterTypes(registry);
    }
    registry.Finalize();
}
}
