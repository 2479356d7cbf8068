#include "Serialization/RTTI/Image.h"

#include <string_view>

#include "Utility/Hash.h"

namespace RTTI
{

uint64_t gGetOwnerID()
{
    static const uint64_t sOwnerID = Utility::gCRC64Jones(std::string_view{gGetImageName()});
    return sOwnerID;
}

}
