#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Utility
{
class ResultContext;

/// The report that a failure travels in: it is passed down by reference and collects what went wrong on the way.
/// Codes are plain numbers whose meaning belongs to the caller. Belongs to one operation, and so to one thread at a
/// time.
class Result
{
public:
    struct Entry
    {
        std::int32_t mCode = 0;
        /// The innermost context that was open when it happened, or empty.
        std::string mContext;
        std::string mMessage;
        bool operator==(const Entry&) const = default;
    };

    /// True when `condition` holds. Otherwise appends an entry and returns false; the caller then returns at once.
    /// The message is formatted only on failure. In the tightest loops test the condition and call Fail, which
    /// spares the call.
    [[nodiscard, gnu::format(printf, 4, 5)]] bool Check(bool condition, std::int32_t code, const char* format, ...);

    /// Appends an entry. Always false, so that it can stand in a return statement or by itself.
    [[gnu::format(printf, 3, 4), gnu::cold]] bool Fail(std::int32_t code, const char* format, ...);
    [[gnu::format(printf, 3, 0)]] bool FailV(std::int32_t code, const char* format, std::va_list arguments);
    /// The same with a text that is complete as it stands: no "%" in it is interpreted.
    bool FailText(std::int32_t code, std::string_view message);

    /// Every entry made during the life of the returned object carries `context`. File operations push the path.
    [[nodiscard]] ResultContext PushContext(std::string context);

    /// Forgets all entries and contexts. Scope objects that are still open then have nothing left to close.
    void Clear();

    bool HasErrors() const { return !mErrors.empty(); }
    /// In the order of occurrence. Valid until the next entry is made.
    const std::vector<Entry>& GetEntries() const { return mErrors; }
    const std::vector<std::string>& GetContexts() const { return mContextStack; }

    /// One line per entry, the newest first, joined by line feeds; empty when there are none.
    std::string ToString() const;

private:
    friend class ResultContext;

    std::vector<Entry> mErrors;
    /// Innermost last.
    std::vector<std::string> mContextStack;
};

/// An open context of a Result, which must outlive it. Ends with its scope.
class [[nodiscard]] ResultContext
{
public:
    ~ResultContext();
    ResultContext(const ResultContext&) = delete;
    ResultContext& operator=(const ResultContext&) = delete;

private:
    friend class Result;
    ResultContext(Result& result, std::string context);

    Result& mResult;
    const std::size_t mDepth;
};
}
