#pragma once

#include <cstdint>
#include <memory>

#include "Serialization/RTTI/TypeOf.h"

namespace Networking
{
class MessageSender;
}

namespace RTTI
{
class TypeRegistry;
}

namespace Utility
{
class InputMemoryStream;
class Result;
}

namespace Profiler
{

/// The id of a message between this program and a worker, and so what its payload is: as a rule one record in a binary
/// container. "Out" runs to the worker, "in" comes from it.
enum class ERemoteMessage : uint8_t
{
    RunJob = 0,        ///< out: `ConvertPDBJob`, `ResolveFunctionDataJob`, `ResolveLineDataJob` or one of those derived
    CancelJob = 1,     ///< out: `CancelRemoteJob`
    JobCompleted = 2,  ///< in: `RemoteJobCompleted`
    Progress = 3,      ///< in: `ConvertPDBProgress`
    ConvertResult = 4, ///< in: `ConvertPDBResult`
    FunctionResult = 5, ///< in: `FunctionData`
    LineResult = 6,     ///< in: `FunctionLineData`, or `SourceLineData` for who asked for that
    Ping = 7,           ///< out, no payload: are you there?
    Pong = 8,           ///< in, any payload: I am here
    Exit = 9,           ///< out, no payload: exit now
};

/// Sends one record. False, with a log line, when it cannot be written or is too long for a message; true says that it
/// is on its way, not that the peer gets it.
[[nodiscard]] bool SendObject(Networking::MessageSender& sender, ERemoteMessage id, RTTI::Object& object);

/// The one object of a payload. Null, with the reason in `result`, when it cannot be read, holds another number of
/// objects, or one that is no `type`.
[[nodiscard]] std::unique_ptr<RTTI::Object> ReadObject(const RTTI::TypeHandle& type, const RTTI::TypeRegistry& registry,
    Utility::InputMemoryStream& stream, Utility::Result& result);

template <class T>
[[nodiscard]] std::unique_ptr<T> ReadObject(
    const RTTI::TypeRegistry& registry, Utility::InputMemoryStream& stream, Utility::Result& result)
{
    return std::unique_ptr<T>{static_cast<T*>(ReadObject(RTTI::gTypeOf<T>(), registry, stream, result).release())};
}

}
