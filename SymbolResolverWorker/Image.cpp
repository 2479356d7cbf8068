#include "Serialization/RTTI/Image.h"

const char* RTTI::gGetImageName()
{
    return "SymbolResolverWorker";
}
