#include "Importers/TraceID.h"

#include "Importers/Utf8.h"

#include <charconv>
#include <limits>

namespace Importers
{
namespace
{
/// Only the spelling that the number would be written with: "007" and "+7" are texts.
bool ParseWholeNumber(std::string_view text, std::int64_t& number)
{
    // As many digits as surely fit; longer numbers are rare and go the long way.
    constexpr std::size_t plainDigits = 18;

    const bool isNegative = text.starts_with('-');
    const std::string_view digits = text.substr(isNegative ? 1 : 0);
    if (digits.empty() || (digits.front() == '0' && text.size() > 1))
    {
        return false;
    }
    if (digits.size() > plainDigits)
    {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        return error == std::errc() && end == text.data() + text.size();
    }
    number = 0;
    for (const char character : digits)
    {
        const auto digit = static_cast<unsigned char>(character - '0');
        if (digit > 9)
        {
            return false;
        }
        number = number * 10 + digit;
    }
    number = isNegative ? -number : number;
    return true;
}
}

TraceID TraceID::sFromText(std::string_view text)
{
    TraceIDView id;
    id.Assign(text);
    return id.ToID();
}

void TraceIDView::Assign(std::string_view text)
{
    const bool isNumber = ParseWholeNumber(text, mNumber);
    mKind = isNumber ? TraceID::EKind::Number : TraceID::EKind::Text;
    mNumber = isNumber ? mNumber : 0;
    mText = isNumber ? std::string_view() : text;
}

bool TraceID::FitsInt32() const
{
    return mKind == EKind::Number && mNumber >= std::numeric_limits<std::int32_t>::min() &&
           mNumber <= std::numeric_limits<std::int32_t>::max();
}

std::string TraceID::ToString() const
{
    if (mKind == EKind::Number)
    {
        return std::to_string(mNumber);
    }
    std::string text;
    gAppendValidUtf8(text, mText);
    return text;
}
}
