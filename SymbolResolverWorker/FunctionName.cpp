#include "SymbolResolverWorker/FunctionName.h"

#include <cstdlib>
#include <memory>

#include <cxxabi.h>

namespace Symbols
{

namespace
{

constexpr std::size_t cLongestName = 64 * 1024;

struct Free
{
    void operator()(char* text) const { std::free(text); }
};

}

std::string gMakeReadable(std::string_view linkerName)
{
    std::string name{linkerName.substr(0, cLongestName)};
    // What is no function's name would be read as a type: "f" as "float".
    if (name.compare(0, 2, "_Z") != 0)
        return name;
    int status = 0;
    const std::unique_ptr<char, Free> readable{abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status)};
    return readable == nullptr ? name : readable.get();
}

std::string_view gCutVersion(std::string_view linkerName)
{
    // A name that starts with it has no version.
    return linkerName.substr(0, linkerName.find('@', 1));
}

}
