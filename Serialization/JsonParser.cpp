#include "Serialization/JsonParser.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "Serialization/Error.h"
#include "Serialization/ReadRules.h"
#include "Utility/Result.h"

namespace Serialization
{

namespace
{

using rapidjson::SizeType;

/// Passes what the parser finds on to a document, until a limit is reached. The parser calls itself for each level of
/// the text, and the document gathers the values of all open levels in one block.
class BoundedBuilder
{
public:
    BoundedBuilder(rapidjson::Document& document, std::size_t textSize)
        : mDocument{document},
          mMaxPending{gGetAllocationLimit(textSize) / (2 * sizeof(rapidjson::Value))}
    {}

    /// Why the parser was stopped; null when it was not.
    const char* GetReason() const { return mReason; }

    bool Null() { return Count() && mDocument.Null(); }
    bool Bool(bool value) { return Count() && mDocument.Bool(value); }
    bool Int(int value) { return Count() && mDocument.Int(value); }
    bool Uint(unsigned value) { return Count() && mDocument.Uint(value); }
    bool Int64(int64_t value) { return Count() && mDocument.Int64(value); }
    bool Uint64(uint64_t value) { return Count() && mDocument.Uint64(value); }
    bool Double(double value) { return Count() && mDocument.Double(value); }
    bool String(const char* text, SizeType size, bool copy) { return Count() && mDocument.String(text, size, copy); }
    bool Key(const char* text, SizeType size, bool copy) { return Count() && mDocument.Key(text, size, copy); }
    bool StartObject() { return Enter() && mDocument.StartObject(); }
    bool StartArray() { return Enter() && mDocument.StartArray(); }

    bool EndObject(SizeType numMembers)
    {
        Leave(std::size_t{2} * numMembers);
        return mDocument.EndObject(numMembers);
    }

    bool EndArray(SizeType numElements)
    {
        Leave(numElements);
        return mDocument.EndArray(numElements);
    }

    /// The parser's own conversion of a fraction can be off in the last digits.
    bool RawNumber(const char* begin, SizeType size, bool)
    {
        const std::string_view text{begin, size};
        if (text.find_first_of(".eE") == std::string_view::npos)
        {
            int64_t negative = 0;
            uint64_t positive = 0;
            if (text.front() == '-' && sConvert(text, negative))
                return negative >= std::numeric_limits<int>::min() ? Int(static_cast<int>(negative)) : Int64(negative);
            if (text.front() != '-' && sConvert(text, positive))
                return positive <= std::numeric_limits<unsigned>::max() ? Uint(static_cast<unsigned>(positive))
                                                                        : Uint64(positive);
        }
        double value = 0.0;
        if (!sConvert(text, value) && !sIsTiny(text))
            return Stop(rapidjson::GetParseError_En(rapidjson::kParseErrorNumberTooBig));
        return Double(value);
    }

private:
    template <class T>
    static bool sConvert(std::string_view text, T& value)
    {
        return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc{};
    }

    /// Of a number that no double holds: whether it is too small rather than too big.
    static bool sIsTiny(std::string_view text)
    {
        const std::size_t exponent = text.find_first_of("eE");
        return exponent == std::string_view::npos ? text.find('.') != std::string_view::npos
                                                  : text[exponent + 1] == '-';
    }

    bool Stop(const char* reason)
    {
        mReason = reason;
        return false;
    }

    bool Count()
    {
        ++mNumPending;
        return mNumPending <= mMaxPending || Stop("Too many values.");
    }

    bool Enter()
    {
        ++mDepth;
        return mDepth <= cMaxNesting ? Count() : Stop("Nested too deeply.");
    }

    void Leave(std::size_t numValues)
    {
        --mDepth;
        mNumPending -= numValues;
    }

    rapidjson::Document& mDocument;
    const std::size_t mMaxPending;
    std::size_t mNumPending = 0;
    int mDepth = 0;
    const char* mReason = nullptr;
};

}

bool gParseJson(std::string_view text, rapidjson::Document& document, Utility::Result& result)
{
    if (!result.Check(text.size() <= std::numeric_limits<SizeType>::max(), EError::CorruptData,
            "Error parsing json: %s (line: %d)", "Too long.", 1))
        return false;

    BoundedBuilder builder{document, text.size()};
    rapidjson::ParseResult parsed;
    const auto generate = [&](rapidjson::Document&) {
        // A plain stream: the wrapper that the document would take skips a byte order mark.
        rapidjson::MemoryStream stream{text.data(), text.size()};
        rapidjson::Reader reader;
        parsed = reader.Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, builder);
        return !parsed.IsError();
    };
    document.Populate(generate);
    if (!parsed.IsError())
        return true;

    const char* const reason =
        builder.GetReason() != nullptr ? builder.GetReason() : rapidjson::GetParseError_En(parsed.Code());
    const std::string_view before = text.substr(0, parsed.Offset() + 1);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    return result.Fail(EError::CorruptData, "Error parsing json: %s (line: %d)", reason, static_cast<int>(line));
}

}
