#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Serialization/Error.h"
#include "Serialization/RTTI/TypeInfo.h"
#include "Utility/FileWriter.h"

namespace RTTI
{
class ObjectFactory;
class TypeRegistry;
}

namespace Utility
{
class InputMemoryStream;
class OutputMemoryStream;
class Result;
}

/// The binary container: one buffer holds a list of objects and the schema of exactly their types, so that a later
/// build can read it. `docs/format/container.md` has the bytes. Calls touch only what they are given, and any number
/// may run at once on different objects; the registry must be finalised.
namespace Serialization
{

/// Reads one buffer, which is everything from the stream's cursor to its end, and appends its roots to `objects` in
/// stored order. Types without a default are made by `factory`. On failure `objects` keeps the roots that were whole,
/// and `result` has one entry. No byte is trusted: damage behind a valid checksum ends in `CorruptData` too, and no
/// allocation is larger than the buffer can account for.
[[nodiscard]] bool gReadBinary(Utility::InputMemoryStream& stream, const RTTI::TypeRegistry& registry,
    const RTTI::ObjectFactory& factory, EUnknownTypePolicy policy, std::vector<std::unique_ptr<RTTI::Object>>& objects,
    Utility::Result& result);

/// The same for a whole file, whose path is the context of a failure.
[[nodiscard]] bool gReadBinaryFile(const std::string& path, const RTTI::TypeRegistry& registry,
    const RTTI::ObjectFactory& factory, EUnknownTypePolicy policy, std::vector<std::unique_ptr<RTTI::Object>>& objects,
    Utility::Result& result);

/// Writes one buffer into `stream`, which must be empty. None of `objects` may be null, and each class that occurs must
/// be registered.
[[nodiscard]] bool gWriteBinary(
    Utility::OutputMemoryStream& stream, const std::vector<RTTI::Object*>& objects, Utility::Result& result);

/// Stores a buffer that was written as a file, as a whole: on failure what was there before is still there.
[[nodiscard]] bool gStoreBinaryFile(const std::string& path, const Utility::OutputMemoryStream& stream,
    Utility::Result& result, FileSystem::EDurability durability = FileSystem::EDurability::AtOnce);

/// Both of them: one file with all objects.
[[nodiscard]] bool gWriteBinaryFile(const std::string& path, const std::vector<RTTI::Object*>& objects,
    Utility::Result& result, FileSystem::EDurability durability = FileSystem::EDurability::AtOnce);

}
