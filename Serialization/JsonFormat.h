#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Serialization/Error.h"
#include "Serialization/RTTI/TypeInfo.h"

namespace RTTI
{
class ObjectFactory;
class TypeRegistry;
}

namespace Utility
{
class Result;
}

/// The readable form of stored objects, for settings files and for the schema inside a binary buffer. Members are
/// matched by name against today's types: there is no version check, unknown members are ignored and missing ones leave
/// a property as constructed. Calls touch only what they are given; the registry must be finalised.
namespace Serialization
{

/// Appends the roots in `text` to `objects`. On failure `objects` keeps the roots before the fault, and `result` has
/// one entry. Nesting beyond 256 levels is refused.
[[nodiscard]] bool gReadJson(std::string_view text, const RTTI::TypeRegistry& registry,
    const RTTI::ObjectFactory& factory, std::vector<std::unique_ptr<RTTI::Object>>& objects, Utility::Result& result);

/// The same for a file, whose path is the context of a failure.
[[nodiscard]] bool gReadJsonFile(const std::string& path, const RTTI::TypeRegistry& registry,
    const RTTI::ObjectFactory& factory, std::vector<std::unique_ptr<RTTI::Object>>& objects, Utility::Result& result);

/// Replaces `text` by the pretty form of `objects`, none of which may be null.
[[nodiscard]] bool gWriteJson(const std::vector<RTTI::Object*>& objects, std::string& text, Utility::Result& result);

/// Writes a file as a whole: on failure what was there before is still there.
[[nodiscard]] bool gWriteJsonFile(
    const std::string& path, const std::vector<RTTI::Object*>& objects, Utility::Result& result);

}
