#include "Quarkspindle/Output.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "Utility/Format.h"

namespace Quarkspindle
{

namespace
{

constexpr std::size_t cBlockSize = 64 * 1024;

bool IsContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

bool IsControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

std::size_t CountCodePoints(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuation(c); }));
}

std::string MakePadding(std::string_view text, std::size_t width)
{
    const std::size_t length = CountCodePoints(text);
    return std::string(width > length ? width - length : 0, ' ');
}

}

void Output::Write(std::string_view text)
{
    mBuffer += text;
    if (mBuffer.size() >= cBlockSize)
        Drain();
}

void Output::Print(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    Write(Utility::gFormatV(format, arguments));
    va_end(arguments);
}

bool Output::Finish(Utility::Result& result)
{
    Drain();
    if (std::fflush(stdout) != 0)
        mFailed = true;
    return result.Check(!mFailed, 0, "The output could not be written");
}

void Output::Drain()
{
    if (std::fwrite(mBuffer.data(), 1, mBuffer.size(), stdout) != mBuffer.size())
        mFailed = true;
    mBuffer.clear();
}

void gPrintError(const Utility::Result& result)
{
    std::string line;
    for (const Utility::Result::Entry& entry : result.GetEntries())
    {
        if (!line.empty())
            line += "; ";
        if (!entry.mContext.empty())
            line += entry.mContext + ": ";
        line += entry.mMessage;
    }
    std::fprintf(stderr, "quarkspindle: %s\n", gMakePrintable(line).c_str());
}

void gAppendCsvField(std::string& line, std::string_view field)
{
    if (field.find_first_of(",\"\r\n") == std::string_view::npos)
    {
        line += field;
        return;
    }
    line += '"';
    for (const char c : field)
    {
        if (c == '"')
            line += '"';
        line += c;
    }
    line += '"';
}

void gAppendNumber(std::string& line, double value)
{
    std::array<char, 32> text;
    const auto written = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 17);
    line.append(text.data(), written.ptr);
}

std::string gFormatMilliseconds(double ms)
{
    constexpr double cMinute = 60'000.0;
    const double size = std::fabs(ms);
    if (size >= cMinute)
    {
        const auto seconds = static_cast<long long>(std::llround(ms / 1000.0));
        return Utility::gFormat("%lld min %lld s", seconds / 60, seconds % 60);
    }
    if (size >= 1000.0)
        return Utility::gFormat("%.3f s", ms / 1000.0);
    if (size >= 1.0)
        return Utility::gFormat("%.3f ms", ms);
    if (size >= 0.001)
        return Utility::gFormat("%.3f µs", ms * 1000.0);
    return Utility::gFormat("%.0f ns", ms * 1'000'000.0);
}

std::string gMakePrintable(std::string_view text, std::size_t width)
{
    std::string printable;
    std::size_t used = 0;
    std::size_t fits = 0; // bytes of `printable` behind which the mark of a cut still has its place
    for (const char c : text)
    {
        const std::size_t cost = IsControl(c) ? 4 : IsContinuation(c) ? 0 : 1;
        if (cost > width - used)
            return printable.substr(0, fits) + "…";
        used += cost;
        if (IsControl(c))
            printable += Utility::gFormat("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        else
            printable += c;
        if (used < width)
            fits = printable.size();
    }
    return printable;
}

std::string gPadRight(std::string_view text, std::size_t width)
{
    return std::string{text} + MakePadding(text, width);
}

std::string gPadLeft(std::string_view text, std::size_t width)
{
    return MakePadding(text, width) + std::string{text};
}

std::string gFormatCount(uint64_t count)
{
    std::string digits = std::to_string(count);
    for (std::size_t i = digits.size(); i > 3; i -= 3)
        digits.insert(i - 3, " ");
    return digits;
}

std::string gFormatCount(uint64_t count, const char* one, const char* several)
{
    return gFormatCount(count) + " " + (count == 1 ? one : several);
}

}
