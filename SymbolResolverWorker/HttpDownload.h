#pragma once

#include <string>

namespace Utility
{
class Result;
}

namespace Symbols
{

class JobControl;

/// Fetches what a URL names into a file, which appears whole or not at all; its folder is made. Gives up when no
/// connection comes about within seconds, when what comes is too slow, and when the job ends. False with the reason,
/// also where the server has no such file.
[[nodiscard]] bool gDownload(
    const std::string& url, const std::string& path, const JobControl& control, Utility::Result& result);

/// Text as a part of a URL.
std::string gEscapeForURL(const std::string& text);

}
