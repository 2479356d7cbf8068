#include "Serialization/RTTI/Image.h"

#include <span>
#include <string_view>

#include "Utility/Hash.h"

namespace RTTI
{

uint64_t gGetOwnerID()
{
    static const uint64_t sOwnerID = [] {
        const std::string_view name = gGetImageName();
        return Utility::gCRC64Jones(std::as_bytes(std::span{name}), 0);
    }();
    return sOwnerID;
}

}
