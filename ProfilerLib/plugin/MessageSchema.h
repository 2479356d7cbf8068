#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Profiler
{

/// What a field holds, and how its value lies in a message; numbers are little-endian.
enum class EMessageFieldType : int32_t
{
    Double = 1,         ///< 8 bytes
    Int32 = 2,          ///< 4 bytes
    UInt64 = 3,         ///< 8 bytes
    AddressElement = 6, ///< 8 bytes address, 1 byte flag; only inside an array
    Array = 7,          ///< 1 byte type of the elements, 8 bytes count, the elements back to back
};

struct MessageField
{
    std::string mName;
    EMessageFieldType mType;
};

/// The name of a kind of messages, and the fields that they have. Made once per kind by those who send it; it lives
/// until the process ends, since messages point to it. Receivers go by the names alone.
class MessageSchema
{
public:
    MessageSchema(std::string name, std::vector<MessageField> fields);

    const std::string& GetName() const { return mName; }
    int32_t GetNumFields() const { return static_cast<int32_t>(mFields.size()); }

    /// Index of the first field of that name, or -1.
    [[nodiscard]] int32_t FindField(std::string_view name) const;
    /// The same for a field that also has that type.
    [[nodiscard]] int32_t FindField(std::string_view name, EMessageFieldType type) const;
    const MessageField& GetField(int32_t index) const { return mFields[static_cast<std::size_t>(index)]; }

private:
    std::string mName;
    std::vector<MessageField> mFields;
};

}
