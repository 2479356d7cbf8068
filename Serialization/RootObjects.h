#pragma once

#include <memory>
#include <vector>

#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeQueries.h"

namespace Serialization
{

/// Takes the first root that is a `T` or derives from it out of a list that was read; null when there is none. The type
/// decides, not the C++ class, so the registry must be finalised.
template <class T>
std::unique_ptr<T> gTakeFirst(std::vector<std::unique_ptr<RTTI::Object>>& objects)
{
    for (auto position = objects.begin(); position != objects.end(); ++position)
    {
        if (*position == nullptr || !RTTI::gIsA<T>(**position))
            continue;
        std::unique_ptr<T> taken{static_cast<T*>(position->release())};
        objects.erase(position);
        return taken;
    }
    return nullptr;
}

}
