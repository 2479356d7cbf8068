#include "ProfilerLib/symbols/RemoteMessage.h"

#include "Networking/MessageSender.h"
#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "Utility/InputMemoryStream.h"
#include "tests/support/FuzzTarget.h"

namespace Profiler
{

namespace
{

/// Keeps what was sent.
class Payload : public Networking::MessageSender
{
public:
    void Send(uint8_t, const void* data, uint32_t length) override
    {
        mBytes.assign(static_cast<const char*>(data), length);
    }
    std::string mBytes;
};

std::string Pack(RTTI::Object& object)
{
    Payload payload;
    Fuzz::gCheck(SendObject(payload, ERemoteMessage::RunJob, object), "a record cannot be sent");
    return payload.mBytes;
}

std::unique_ptr<RTTI::Object> Unpack(
    const RTTI::TypeRegistry& registry, std::span<const std::byte> bytes, Utility::Result& result)
{
    Utility::InputMemoryStream stream{bytes};
    return ReadObject<RTTI::Object>(registry, stream, result);
}

template <class... Records>
std::vector<Serialization::Testing::FuzzContainer> MakeContainers(Records... records)
{
    return {Serialization::Testing::FuzzContainer{Pack(records)}...};
}

}

}

/// The first byte says which record's schema stands in front of the others.
void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    static RTTI::TypeRegistry sRegistry;
    static const auto sContainers = [] {
        gReadySymbolRegistry(sRegistry);
        return MakeContainers(ConvertPDBJob{}, ResolveFunctionDataJob{}, ResolveLineDataJob{}, CancelRemoteJob{},
            RemoteJobCompleted{}, ConvertPDBProgress{}, ConvertPDBResult{}, FunctionData{}, FunctionLineData{},
            SourceLineData{});
    }();

    if (input.empty())
        return;
    const auto& container = sContainers[std::to_integer<unsigned>(input[0]) % sContainers.size()];
    const std::vector<std::byte> bytes = container.Make(input.subspan(1));
    Utility::Result result;
    const std::unique_ptr<RTTI::Object> object = Unpack(sRegistry, bytes, result);
    Serialization::Testing::gCheckOutcome(object != nullptr, result);
    if (object == nullptr)
        return;
    const Aside aside;
    const std::string packed = Pack(*object);
    const auto again = Unpack(sRegistry, std::as_bytes(std::span{packed}), result);
    gCheck(again != nullptr, "what was sent cannot be read");
    gCheck(Pack(*again) == packed, "what was read again is sent as other bytes");
}
