#include "Renderer/ShaderSource.h"

#include "Utility/Format.h"

#include <algorithm>
#include <cstdio>

namespace Renderer
{
namespace
{
constexpr std::string_view gWhitespace = " \t\r\n\v\f";
constexpr std::string_view gDigits = "0123456789";
constexpr std::string_view gVersionMark = "#version";
}

bool gParseGLVersion(const char* text, int& majorVersion, int& minorVersion)
{
    if (text != nullptr && std::sscanf(text, "%d.%d", &majorVersion, &minorVersion) == 2)
    {
        return true;
    }
    majorVersion = 0;
    minorVersion = 0;
    return false;
}

std::string gRewriteShaderVersion(std::string_view source, int majorVersion, int minorVersion)
{
    const std::string version = Utility::gFormat("#version %d%d0", majorVersion, minorVersion);
    std::string rewritten;
    rewritten.reserve(source.size());
    std::size_t done = 0;
    for (std::size_t mark = 0; (mark = source.find(gVersionMark, mark)) != std::string_view::npos;)
    {
        const std::size_t number = source.find_first_not_of(gWhitespace, mark + gVersionMark.size());
        const std::size_t end = std::min(source.find_first_not_of(gDigits, number), source.size());
        if (number < end)
        {
            rewritten.append(source.substr(done, mark - done)).append(version);
            done = end;
        }
        mark += gVersionMark.size();
    }
    return rewritten.append(source.substr(done));
}

std::string gRemoveArraySuffix(std::string name)
{
    const std::size_t first = name.find('[');
    const std::size_t last = name.rfind(']');
    if (first != std::string::npos && last != std::string::npos && first < last)
    {
        name.erase(first, last - first + 1);
    }
    return name;
}
}
