#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Utility/Result.h"

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

/// The same out of a binary file that was made for it. Null, with the reason in `result`, when the file cannot be read
/// or holds none, which is CorruptData with `missing` as its text.
template <class T>
std::unique_ptr<T> gReadFirst(const std::string& path, const RTTI::TypeRegistry& registry,
    const RTTI::ObjectFactory& factory, EUnknownTypePolicy policy, const char* missing, Utility::Result& result)
{
    std::vector<std::unique_ptr<RTTI::Object>> roots;
    if (!gReadBinaryFile(path, registry, factory, policy, roots, result))
        return nullptr;
    std::unique_ptr<T> first = gTakeFirst<T>(roots);
    if (first == nullptr)
        result.FailText(CorruptData, missing);
    return first;
}

}
