#include "ProfilerLib/plugin/MessageBuilder.h"

#include <cassert>

namespace Profiler
{

MessageBuilder::MessageBuilder(const MessageSchema& schema)
    : mSchema{&schema},
      mOffsets(static_cast<std::size_t>(schema.GetNumFields()), -1)
{}

void MessageBuilder::BeginField(std::string_view field, EMessageFieldType type)
{
    const int32_t index = mSchema->FindField(field, type);
    assert(index >= 0 && "the schema has no such field of that type");
    mOffsets[static_cast<std::size_t>(index)] = static_cast<int32_t>(mStream.GetPosition());
}

void MessageBuilder::WriteDouble(std::string_view field, double value)
{
    BeginField(field, EMessageFieldType::Double);
    mStream.Write(value);
}

void MessageBuilder::WriteInt32(std::string_view field, int32_t value)
{
    BeginField(field, EMessageFieldType::Int32);
    mStream.Write(value);
}

void MessageBuilder::WriteUInt64(std::string_view field, uint64_t value)
{
    BeginField(field, EMessageFieldType::UInt64);
    mStream.Write(value);
}

void MessageBuilder::WriteAddresses(std::string_view field, std::span<const AddressElement> addresses)
{
    BeginField(field, EMessageFieldType::Array);
    mStream.Write(static_cast<uint8_t>(EMessageFieldType::AddressElement));
    mStream.Write(static_cast<uint64_t>(addresses.size()));
    for (const AddressElement& address : addresses)
    {
        mStream.Write(address.mAddress);
        mStream.Write(address.mIsInstrumentation);
    }
}

std::unique_ptr<Message> MessageBuilder::Finish() const
{
    return std::make_unique<Message>(*mSchema, mOffsets, mStream.GetData());
}

}
