#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace Importers
{
/// How a trace names a process, a thread or an operation: by number or by text, or not at all. A text that spells a
/// whole number is that number, since the events of one thread may come from writers of both kinds.
struct TraceID
{
    enum class EKind : std::uint8_t
    {
        Missing,
        Number,
        Text,
    };

    /// Numbers come before texts.
    EKind mKind = EKind::Missing;
    std::int64_t mNumber = 0;
    /// Empty for a number.
    std::string mText;

    static TraceID sFromNumber(std::int64_t number) { return {EKind::Number, number, {}}; }
    static TraceID sFromText(std::string_view text);

    bool IsMissing() const { return mKind == EKind::Missing; }
    bool FitsInt32() const;
    /// As the trace has it, as valid UTF-8.
    std::string ToString() const;

    bool operator==(const TraceID&) const = default;
    auto operator<=>(const TraceID&) const = default;
};

/// The same in an event, whose text is elsewhere.
struct TraceIDView
{
    TraceID::EKind mKind = TraceID::EKind::Missing;
    std::int64_t mNumber = 0;
    /// Empty for a number.
    std::string_view mText;

    void Assign(std::string_view text);
    bool IsMissing() const { return mKind == TraceID::EKind::Missing; }
    TraceID ToID() const { return {mKind, mNumber, std::string(mText)}; }
};
}
