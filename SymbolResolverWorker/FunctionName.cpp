#include "SymbolResolverWorker/FunctionName.h"

#include <demangle.h>

namespace Symbols
{

namespace
{

constexpr std::size_t cLongestName = 64 * 1024;

struct TooLong
{};

/// Gets the name piece by piece. A short name may stand for one of any length, since each part of it may stand for two
/// earlier ones. The library has nothing else that ends it, and holds nothing that would be lost by an exception.
void Append(const char* piece, std::size_t size, void* readable)
{
    auto& text = *static_cast<std::string*>(readable);
    if (size > cLongestName - text.size())
        throw TooLong{};
    text.append(piece, size);
}

/// False when it is no name, or too long a one.
bool WriteOut(const std::string& name, std::string& readable)
{
    try
    {
        return cplus_demangle_v3_callback(name.c_str(), DMGL_PARAMS | DMGL_TYPES, &Append, &readable) != 0;
    }
    catch (const TooLong&)
    {
        return false;
    }
}

}

std::string gMakeReadable(std::string_view linkerName)
{
    std::string name{linkerName.substr(0, cLongestName)};
    // What is no function's name would be read as a type: "f" as "float".
    if (name.compare(0, 2, "_Z") != 0)
        return name;
    std::string readable;
    return WriteOut(name, readable) ? readable : name;
}

std::string_view gCutVersion(std::string_view linkerName)
{
    // A name that starts with it has no version.
    return linkerName.substr(0, linkerName.find('@', 1));
}

}
