#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace System
{
/// Makes lines of text that comes in pieces. A line that has no end is given out in parts, so that whoever writes it
/// cannot fill the memory.
class LineBuffer
{
public:
    static constexpr size_t sLongestLine = 64 * 1024;

    /// Calls `take` with each line that is complete now, line feed included.
    template <typename Take>
    void Append(std::string_view text, Take&& take)
    {
        while (!text.empty())
        {
            const size_t lineFeed = text.find('\n');
            const size_t most = sLongestLine - mLine.size();
            const size_t count = lineFeed < most ? lineFeed + 1 : (text.size() < most ? text.size() : most);
            mLine += text.substr(0, count);
            text.remove_prefix(count);
            if (mLine.back() == '\n' || mLine.size() == sLongestLine)
            {
                take(mLine);
                mLine.clear();
            }
        }
    }

    /// What has come behind the last line.
    [[nodiscard]] const std::string& GetRest() const { return mLine; }

private:
    std::string mLine;
};
}
