#pragma once

#include <string>

namespace Profiler
{

/// Where captures and symbols go until the user says otherwise. The folders need not exist; empty when the user has no
/// home.
std::string gFindDefaultCaptureDirectory();
std::string gFindDefaultSymbolCacheDirectory();

}
