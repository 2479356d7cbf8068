#pragma once

#include "Importers/JsonScanner.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Importers
{
/// Makes the context text of an event out of its "args": "key: value" joined by ", ", nested values as JSON. The member
/// "detail" comes first, and when it is the only one its value stands alone. Arguments that are no object are their own
/// text. One builder is used for all events.
class ContextBuilder
{
public:
    static constexpr std::size_t sLongestContext = 4096;

    void Clear()
    {
        if (mIsUsed)
        {
            Reset();
        }
    }
    /// Reads the value of "args", replacing what an earlier one gave.
    [[nodiscard]] bool Read(JsonScanner& scanner);

    /// Valid UTF-8 of at most sLongestContext bytes, until the next Read or Clear; empty when there are no arguments.
    std::string_view Finish();

    /// The string argument "name", as the metadata of a trace has it; empty when there is none.
    const std::string& GetName() const { return mName; }
    /// There is an argument "avg ms": the event sums up others.
    bool HasAverage() const { return mHasAverage; }

private:
    /// Room for what replacing an invalid byte within the limit may need.
    static constexpr std::size_t sLongestPiece = sLongestContext + 16;

    void Reset();
    bool ReadMembers(JsonScanner& scanner);
    bool ReadMember(JsonScanner& scanner);
    bool ReadValue(JsonScanner& scanner, CappedText& target, bool isName);

    CappedText mDetail{sLongestPiece};
    CappedText mOthers{sLongestPiece};
    std::string mName;
    std::string mText;
    std::string mValidText;
    bool mIsUsed = false;
    bool mHasDetail = false;
    bool mHasOthers = false;
    bool mHasAverage = false;
};
}
