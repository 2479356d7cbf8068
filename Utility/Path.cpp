#include "Utility/Path.h"

#include "Utility/Text.h"

#include <algorithm>
#include <vector>

namespace FileSystem
{
namespace
{
constexpr std::string_view gSeparators = "/\\";

bool EndsInSeparator(std::string_view path)
{
    return !path.empty() && gIsSeparator(path.back());
}

bool HasDotPiece(std::string_view path)
{
    return path.find("./") != std::string_view::npos || path.find(".\\") != std::string_view::npos;
}
}

bool gIsAbsolutePath(std::string_view path)
{
    return !path.empty() && gIsSeparator(path.front());
}

std::string gGetNativePath(std::string_view path)
{
    std::string native;
    if (path.find('\0') == std::string_view::npos)
    {
        native = path;
        std::replace(native.begin(), native.end(), '\\', gSeparator);
    }
    return native;
}

std::string gGetDirectory(std::string_view path)
{
    const std::size_t separator = path.find_last_of(gSeparators);
    return std::string(separator == std::string_view::npos ? std::string_view() : path.substr(0, separator));
}

std::string gGetFileName(std::string_view path)
{
    const std::size_t separator = path.find_last_of(gSeparators);
    return std::string(separator == std::string_view::npos ? path : path.substr(separator + 1));
}

std::string gGetBaseName(std::string_view path)
{
    const std::string name = gGetFileName(path);
    return name.substr(0, name.rfind('.'));
}

std::string gGetExtension(std::string_view path)
{
    const std::size_t dot = path.rfind('.');
    return dot == std::string_view::npos ? std::string(path) : Utility::gToLower(path.substr(dot + 1));
}

std::string gNormalizePath(std::string_view path)
{
    if (!HasDotPiece(path))
    {
        return std::string(path);
    }
    const bool isAbsolute = gIsAbsolutePath(path);
    std::vector<std::string> pieces;
    Utility::gSplit(path, pieces, gSeparators);
    std::vector<std::string_view> kept;
    for (const std::string& piece : pieces)
    {
        if (piece == ".")
        {
            continue;
        }
        if (piece != "..")
        {
            kept.push_back(piece);
        }
        else if (!kept.empty() && kept.back() != "..")
        {
            kept.pop_back();
        }
        else if (!isAbsolute)
        {
            kept.push_back(piece);
        }
    }
    std::string result;
    for (const std::string_view piece : kept)
    {
        if (isAbsolute || !result.empty())
        {
            result += gSeparator;
        }
        result += piece;
    }
    return isAbsolute && result.empty() ? std::string(1, gSeparator) : result;
}

std::string gCombinePath(std::string_view a, std::string_view b)
{
    std::string result = gNormalizePath(a);
    std::string tail = gNormalizePath(b);
    if (!result.empty() && !tail.empty())
    {
        const bool tailBegins = gIsSeparator(tail.front());
        if (EndsInSeparator(result) && tailBegins)
        {
            tail.erase(0, 1);
        }
        else if (!EndsInSeparator(result) && !tailBegins)
        {
            result += gSeparator;
        }
    }
    return gNormalizePath(result += tail);
}

std::string gGetPathKey(std::string_view path)
{
    std::string key = Utility::gToLower(path);
    std::replace(key.begin(), key.end(), '\\', '/');
    return key;
}

bool gPathsEqual(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
        [](char left, char right) { return left == right || (gIsSeparator(left) && gIsSeparator(right)); });
}
}
