#include "Serialization/RTTI/TypeRegistry.h"

#include <array>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Utility/Format.h"
#include "Utility/Hash.h"

namespace RTTI
{

namespace
{

/// The records are constants to everybody but `Finalize`; they are declared as variables, so writing to them is sound.
TypeInfo& gGetMutableInfo(const TypeHandle& type)
{
    return const_cast<TypeInfo&>(*type.Info);
}

CompoundInfo& gGetMutableCompound(const TypeHandle& type)
{
    return const_cast<CompoundInfo&>(gGetCompound(type));
}

/// The classes of all owners as a forest, for one numbering.
class ClassForest
{
public:
    /// A class that two owners have registered still is one class.
    void Add(const TypeHandle& type)
    {
        if (!mKnown.insert(&type).second)
            return;
        const CompoundInfo& compound = gGetCompound(type);
        if (compound.NumBases == 0)
            mRoots.push_back(&type);
        for (int32_t i = 0; i < compound.NumBases; ++i)
            mChildren[compound.Bases[i]].push_back(&type);
    }

    void Number()
    {
        int32_t counter = -1;
        for (const TypeHandle* root : mRoots)
        {
            ++counter;
            Number(*root, 0, counter);
        }
    }

private:
    /// Numbers a class, whose index is the counter's value, and all below it; gives the number of classes below it.
    int32_t Number(const TypeHandle& type, uint64_t chain, int32_t& counter)
    {
        const int32_t index = counter;
        CompoundInfo& compound = gGetMutableCompound(type);
        const auto version = static_cast<uint32_t>(compound.Version);
        const std::array<std::byte, 4> bytes{static_cast<std::byte>(version), static_cast<std::byte>(version >> 8),
            static_cast<std::byte>(version >> 16), static_cast<std::byte>(version >> 24)};
        compound.FullVersion = Utility::gCRC64Jones(bytes, chain);

        int32_t numDescendants = 0;
        if (const auto found = mChildren.find(&type); found != mChildren.end())
        {
            numDescendants = static_cast<int32_t>(found->second.size());
            for (const TypeHandle* child : found->second)
            {
                ++counter;
                numDescendants += Number(*child, compound.FullVersion, counter);
            }
        }
        compound.ClassIndex = index;
        compound.NumDescendants = numDescendants;
        return numDescendants;
    }

    std::unordered_set<const TypeHandle*> mKnown;
    std::vector<const TypeHandle*> mRoots;
    std::unordered_map<const TypeHandle*, std::vector<const TypeHandle*>> mChildren;
};

}

void TypeRegistry::Register(const TypeHandle& type)
{
    const TypeHandle* current = &type;
    for (;;)
    {
        // What is there already has entered all it reaches, or is about to: a class may reach itself.
        if (std::exchange(mTypes[mCurrentOwnerID][current->GetName()], current) == current)
            return;
        switch (current->GetDataType())
        {
        case EDataType::Primitive:
            return;
        case EDataType::Enum:
            current = gGetEnum(*current).Underlying;
            break;
        case EDataType::Array:
            current = gGetArray(*current).Element;
            break;
        case EDataType::Pointer:
            current = gGetPointer(*current).Pointee;
            break;
        case EDataType::Map:
            Register(*gGetMap(*current).Key);
            current = gGetMap(*current).Value;
            break;
        case EDataType::Compound:
        {
            const CompoundInfo& compound = gGetCompound(*current);
            for (int32_t i = 0; i < compound.NumBases; ++i)
                Register(*compound.Bases[i]);
            for (const Property* property : gGetAllProperties(*current))
                Register(*property->Type);
            return;
        }
        }
    }
}

const TypeHandle* TypeRegistry::FindType(std::string_view name) const
{
    const auto owner = mTypes.find(gGetOwnerID());
    if (owner == mTypes.end())
        return nullptr;
    const auto found = owner->second.find(name);
    return found == owner->second.end() ? nullptr : found->second;
}

void TypeRegistry::Finalize()
{
    ClassForest forest;
    for (const auto& [ownerID, types] : mTypes)
    {
        for (const auto& [name, type] : types)
        {
            TypeInfo& info = gGetMutableInfo(*type);
            const std::string text = Utility::gFormat("%s%d", info.Name, info.Size);
            info.TypeHash = Utility::gXXH64(text);
            info.OwnerID = ownerID;
            if (type->GetDataType() == EDataType::Compound)
                forest.Add(*type);
        }
    }
    forest.Number();
}

void gRegisterTypes(TypeRegistry& registry)
{
    registry.Register(gTypeOf<uint8_t>());
    registry.Register(gTypeOf<int8_t>());
    registry.Register(gTypeOf<uint16_t>());
    registry.Register(gTypeOf<int16_t>());
    registry.Register(gTypeOf<uint32_t>());
    registry.Register(gTypeOf<int32_t>());
    registry.Register(gTypeOf<uint64_t>());
    registry.Register(gTypeOf<int64_t>());
    registry.Register(gTypeOf<bool>());
    registry.Register(gTypeOf<float>());
    registry.Register(gTypeOf<double>());
    registry.Register(gTypeOf<std::string>());
}

}
