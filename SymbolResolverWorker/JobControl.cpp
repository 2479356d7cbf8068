#include "SymbolResolverWorker/JobControl.h"

#include "Serialization/Error.h"
#include "Utility/Result.h"

namespace Symbols
{

bool JobControl::MayGoOn(Utility::Result& result) const
{
    return result.Check(!IsCancelled(), Serialization::Unspecified, "The job was cancelled") &&
           result.Check(!IsOverdue(), Serialization::Unspecified, "The job took too long");
}

}
