#include "ProfilerLib/symbols/ResolvedAddress.h"

#include "Utility/Format.h"

namespace Profiler
{

std::string ResolvedAddress::GetDisplayName() const
{
    return HasFunction() ? mName : Utility::gFormat("0x%llX", static_cast<unsigned long long>(mAddress));
}

}
