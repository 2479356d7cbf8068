#pragma once

#include "ProfilerLib/plugin/Message.h"
#include "Utility/OutputMemoryStream.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace Profiler
{

/// Collects the values of one message. Fields may be written in any order, each by its name and with the type that the
/// schema gives it: anything else is a mistake of the sender. To build and send:
///
///     static const MessageSchema sSchema{"BarSelected", {{"ThreadID", EMessageFieldType::Int32}}};
///     MessageBuilder builder{sSchema};
///     builder.WriteInt32("ThreadID", 7);
///     bus.Send(scope, *builder.Finish());
class MessageBuilder
{
public:
    /// The schema must live to the end of the process.
    explicit MessageBuilder(const MessageSchema& schema);

    void WriteDouble(std::string_view field, double value);
    void WriteInt32(std::string_view field, int32_t value);
    void WriteUInt64(std::string_view field, uint64_t value);
    void WriteAddresses(std::string_view field, std::span<const AddressElement> addresses);

    [[nodiscard]] std::unique_ptr<Message> Finish() const;

private:
    void BeginField(std::string_view field, EMessageFieldType type);

    const MessageSchema* mSchema;
    std::vector<int32_t> mOffsets;
    Utility::OutputMemoryStream mStream;
};

}
