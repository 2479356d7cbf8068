#pragma once

#include "ProfilerLib/plugin/MessageSchema.h"
#include "Utility/InputMemoryStream.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Profiler
{

/// An address that a message speaks of: that of a function, or the identifier of an instrumentation event.
struct AddressElement
{
    uint64_t mAddress = 0;
    bool mIsInstrumentation = false;

    bool operator==(const AddressElement&) const = default;
};

/// One message on the bus: values in a block of bytes, found by the names of their fields. `MessageBuilder` makes it;
/// it lasts as long as the `Send` that delivers it, and never changes.
///
/// Sender and receiver may lie in different images, so a receiver can count on nothing but names: a field that the
/// schema lacks, that has another type or that the sender did not write reads as nothing.
class Message
{
public:
    /// Copies the bytes. `offsets` has one entry per field of the schema: where its value starts, or -1 for none.
    Message(const MessageSchema& schema, std::vector<int32_t> offsets, std::span<const std::byte> bytes);

    const MessageSchema& GetSchema() const { return *mSchema; }

    [[nodiscard]] std::optional<double> ReadDouble(std::string_view field) const;
    [[nodiscard]] std::optional<int32_t> ReadInt32(std::string_view field) const;
    [[nodiscard]] std::optional<uint64_t> ReadUInt64(std::string_view field) const;
    [[nodiscard]] std::optional<std::vector<AddressElement>> ReadAddresses(std::string_view field) const;

private:
    /// At the value of the field; empty when there is none.
    Utility::InputMemoryStream FindValue(std::string_view field, EMessageFieldType type) const;
    template <class T>
    std::optional<T> ReadValue(std::string_view field, EMessageFieldType type) const;

    const MessageSchema* mSchema;
    std::vector<int32_t> mOffsets;
    std::vector<std::byte> mBytes;
};

}
