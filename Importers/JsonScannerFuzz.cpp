#include "Importers/JsonScanner.h"
#include "Importers/JsonTestSupport.h"

#include "tests/support/FuzzTarget.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/reader.h>

namespace Importers
{
namespace
{
/// What a scanner makes of a text, value by value.
struct Scan
{
    std::string mCopy;
    std::string mFault;
    std::uint64_t mFaultOffset = 0;

    bool operator==(const Scan&) const = default;
};

/// One value, passed over and copied.
Scan ScanValue(std::string_view text, std::size_t windowSize)
{
    Windows windows(text, windowSize);
    JsonScanner scanner(windows);
    CappedText copy(text.size());
    Scan scan;
    if (scanner.CopyValue(copy) && scanner.Peek() >= 0)
    {
        scanner.Fail("there is text behind the value");
    }
    scan.mCopy = copy.mText;
    if (scanner.HasFault())
    {
        scan.mFault = scanner.GetFault();
        scan.mFaultOffset = scanner.GetFaultOffset();
        Fuzz::gCheck(scan.mFaultOffset <= text.size(), "a fault lies behind the text");
    }
    Fuzz::gCheck(scanner.GetOffset() <= text.size(), "the cursor lies behind the text");
    return scan;
}

/// Tokens in a row, taken as what they begin like.
Scan ScanTokens(std::string_view text, std::size_t windowSize)
{
    Windows windows(text, windowSize);
    JsonScanner scanner(windows);
    Scan scan;
    for (int next = scanner.Peek(); next >= 0; next = scanner.Peek())
    {
        JsonToken token;
        if (next == '"')
        {
            scan.mCopy += scanner.ReadString(token) ? std::string(token.mText) + "\"" : "";
        }
        else if (next == '-' || (next >= '0' && next <= '9'))
        {
            scan.mCopy += scanner.ReadNumber(token) ? std::string(token.mText) + "," : "";
        }
        else
        {
            scan.mCopy += static_cast<char>(next);
            scanner.Take();
        }
    }
    scan.mFault = scanner.HasFault() ? scanner.GetFault() : "";
    scan.mFaultOffset = scanner.GetFaultOffset();
    return scan;
}

/// In what the scanner takes by intent and others do not, or numbers that have no double.
bool IsCommonGround(std::string_view text)
{
    const bool isPlain = std::ranges::all_of(text, [](char character) {
        const auto code = static_cast<unsigned char>(character);
        return (code >= ' ' && code < 0x80) || code == '\n' || code == '\r' || code == '\t';
    });
    return isPlain && text.find("\\u") == std::string_view::npos;
}

void CompareWithOther(std::string_view text, const Scan& scan)
{
    rapidjson::Reader reader;
    const std::string terminated(text);
    rapidjson::StringStream stream(terminated.c_str());
    rapidjson::BaseReaderHandler<> handler;
    const auto other =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream, handler);
    if (other.Code() == rapidjson::kParseErrorNumberTooBig)
    {
        return;
    }
    const bool isAccepted = scan.mFault.empty();
    Fuzz::gCheck(isAccepted || other.IsError(), "a text is refused that another reader takes");
    // A control character within a string is let through.
    const bool hasControl = text.find_first_of("\n\r\t") != std::string_view::npos;
    Fuzz::gCheck(!isAccepted || !other.IsError() || hasControl, "a text is taken that another reader refuses");
}
}
}

/// An input is the size of the windows in one byte, and the text.
void Fuzz::gRunInput(Input input)
{
    using namespace Importers;

    if (input.empty())
        return;
    const std::size_t windowSize = std::to_integer<std::size_t>(input[0]) + 1;
    const std::string_view text(reinterpret_cast<const char*>(input.data()) + 1, input.size() - 1);
    const Scan whole = ScanValue(text, text.size() + 1);
    gCheck(whole == ScanValue(text, windowSize), "a value depends on the windows that it comes in");
    gCheck(ScanTokens(text, text.size() + 1) == ScanTokens(text, windowSize),
        "tokens depend on the windows that they come in");
    if (IsCommonGround(text))
        CompareWithOther(text, whole);
}
