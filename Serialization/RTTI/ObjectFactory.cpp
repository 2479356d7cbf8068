#include "Serialization/RTTI/ObjectFactory.h"

namespace RTTI
{

void ObjectFactory::SetFactory(const TypeHandle* type, Function function)
{
    mFunctions[type] = std::move(function);
}

UniqueTypedPtr ObjectFactory::Create(const TypeHandle* type) const
{
    if (const auto found = mFunctions.find(type); found != mFunctions.end())
        return found->second();
    UniqueTypedPtr object;
    if (type->Info->Create != nullptr)
        type->Info->Create(object);
    return object;
}

}
