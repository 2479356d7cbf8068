#include "ProfilerLib/symbols/RemoteMessage.h"

#include <vector>

#include "Networking/Frame.h"
#include "Networking/MessageSender.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/Error.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Profiler
{

bool SendObject(Networking::MessageSender& sender, ERemoteMessage id, RTTI::Object& object)
{
    Utility::OutputMemoryStream stream;
    Utility::Result result;
    const bool isWritten = Serialization::gWriteBinary(stream, {&object}, result) &&
                           result.Check(stream.GetSize() <= Networking::cMaxPayload, Serialization::Unspecified,
                               "%zu bytes are too many for a message", stream.GetSize());
    if (!isWritten)
    {
        Utility::gTrace(
            "Failed to serialize object of type %s: %s", object.GetType().Info->Name, result.ToString().c_str());
        return false;
    }
    sender.Send(static_cast<uint8_t>(id), stream.GetBuffer(), static_cast<uint32_t>(stream.GetSize()));
    return true;
}

std::unique_ptr<RTTI::Object> ReadObject(const RTTI::TypeHandle& type, const RTTI::TypeRegistry& registry,
    Utility::InputMemoryStream& stream, Utility::Result& result)
{
    std::vector<std::unique_ptr<RTTI::Object>> objects;
    if (!Serialization::gReadBinary(
            stream, registry, RTTI::ObjectFactory{}, Serialization::EUnknownTypePolicy::Fail, objects, result))
        return nullptr;
    if (!result.Check(objects.size() == 1 && objects[0] != nullptr, Serialization::CorruptData,
            "A message holds one object, not %zu", objects.size()))
        return nullptr;
    if (!result.Check(RTTI::gIsDerivedFrom(objects[0]->GetType(), type), Serialization::CorruptData,
            "A message was to hold a %s, and holds a %s", type.Info->Name, objects[0]->GetType().Info->Name))
        return nullptr;
    return std::move(objects[0]);
}

}
