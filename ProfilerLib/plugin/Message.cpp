#include "ProfilerLib/plugin/Message.h"

#include <utility>

namespace Profiler
{

Message::Message(const MessageSchema& schema, std::vector<int32_t> offsets, std::span<const std::byte> bytes)
    : mSchema{&schema},
      mOffsets{std::move(offsets)},
      mBytes(bytes.begin(), bytes.end())
{}

Utility::InputMemoryStream Message::FindValue(std::string_view field, EMessageFieldType type) const
{
    const int32_t index = mSchema->FindField(field, type);
    const int32_t offset = index < 0 ? -1 : mOffsets[static_cast<std::size_t>(index)];
    if (offset < 0)
        return {};
    return Utility::InputMemoryStream{std::span{mBytes}.subspan(static_cast<std::size_t>(offset))};
}

template <class T>
std::optional<T> Message::ReadValue(std::string_view field, EMessageFieldType type) const
{
    T value;
    return FindValue(field, type).TryRead(value) ? std::optional{value} : std::nullopt;
}

std::optional<double> Message::ReadDouble(std::string_view field) const
{
    return ReadValue<double>(field, EMessageFieldType::Double);
}

std::optional<int32_t> Message::ReadInt32(std::string_view field) const
{
    return ReadValue<int32_t>(field, EMessageFieldType::Int32);
}

std::optional<uint64_t> Message::ReadUInt64(std::string_view field) const
{
    return ReadValue<uint64_t>(field, EMessageFieldType::UInt64);
}

std::optional<std::vector<AddressElement>> Message::ReadAddresses(std::string_view field) const
{
    constexpr std::size_t elementSize = sizeof(uint64_t) + sizeof(bool);
    Utility::InputMemoryStream stream = FindValue(field, EMessageFieldType::Array);
    uint8_t type = 0;
    uint64_t count = 0;
    if (!stream.TryRead(type) || !stream.TryRead(count) ||
        type != static_cast<uint8_t>(EMessageFieldType::AddressElement) || count > stream.GetRemaining() / elementSize)
        return std::nullopt;
    std::vector<AddressElement> addresses(static_cast<std::size_t>(count));
    for (AddressElement& address : addresses)
    {
        stream.Read(address.mAddress);
        stream.Read(address.mIsInstrumentation);
    }
    return addresses;
}

}
