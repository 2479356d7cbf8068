#include "SymbolResolverWorker/SymbolSearch.h"

#include "Utility/Text.h"

namespace Symbols
{

std::vector<SymbolServer> gParseSymbolServerPath(std::string_view path)
{
    std::vector<SymbolServer> servers;
    std::vector<std::string> parts;
    std::vector<std::string> fields;
    Utility::gSplit(path, parts, ";");
    for (const std::string& part : parts)
    {
        Utility::gSplit(part, fields, "*");
        if (fields.size() == 3 && fields[0] == "srv")
            servers.push_back({fields[1], fields[2]});
    }
    return servers;
}

}
