#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Serialization/Testing/SampleTypes.h"
#include "Utility/Result.h"

/// What the tests of both formats share: registries, buffers, objects.
namespace Serialization::Testing
{

using Bytes = std::vector<std::byte>;
using Objects = std::vector<std::unique_ptr<RTTI::Object>>;

/// Enters the primitives and the schema's types, as any image does, and `Ts`.
template <class... Ts>
void gRegister(RTTI::TypeRegistry& registry, uint64_t ownerID)
{
    const auto scope = registry.BeginRegistration(ownerID);
    RTTI::gRegisterTypes(registry);
    Serialization::gRegisterTypes(registry);
    (registry.Register(RTTI::gTypeOf<Ts>()), ...);
}

/// A finalised registry with all sample types.
RTTI::TypeRegistry gMakeSampleRegistry();

/// An object with something in every property.
std::unique_ptr<Sample::Everything> gMakeEverything();

/// What `gMakeEverything` makes, whatever way it has gone.
void gExpectEverything(const Sample::Everything& read);

/// Writes roots; the test fails when that does.
Bytes gWrite(const std::vector<RTTI::Object*>& objects);

/// The outcome of reading a buffer.
struct ReadOutcome
{
    bool IsRead = false;
    Objects Roots;
    Utility::Result Result;

    /// The one entry of a failure as "code: message"; "ok" when there is none.
    std::string GetSummary() const;
};

ReadOutcome gRead(const Bytes& buffer, const RTTI::TypeRegistry& registry,
    EUnknownTypePolicy policy = EUnknownTypePolicy::Fail, const RTTI::ObjectFactory& factory = {});

ReadOutcome gReadText(
    const std::string& json, const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory = {});

/// Makes the checksum of a changed buffer right again.
Bytes gSealed(Bytes buffer);

template <class T>
void gStore(Bytes& buffer, std::size_t offset, T value)
{
    for (std::size_t i = 0; i < sizeof(T); ++i)
        buffer.at(offset + i) = static_cast<std::byte>(static_cast<uint64_t>(value) >> (8 * i));
}

uint64_t gLoad64(const Bytes& buffer, std::size_t offset);

/// The CRC-64 of a buffer's bytes, a bit at a time.
uint64_t gSlowCRC64(const std::byte* bytes, std::size_t size, uint64_t value = 0);

}
