#include "Serialization/BinaryReadPlan.h"

#include "Serialization/BinaryLayout.h"
#include "Serialization/PrimitiveKind.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/Format.h"

namespace Serialization
{

namespace
{

PlanFailure gMakeCorruption(std::string message)
{
    return {EError::CorruptData, std::move(message), true};
}

PlanFailure gMakeMissingEntry(std::string_view name)
{
    return gMakeCorruption("the schema has no entry for type " + std::string{name});
}

/// The record of that name; null when there is none. A stored list may hold an entry without a record.
template <class T>
const T* gFindRecord(const Schema::Records<T>& records, const std::string& name)
{
    const auto found = records.find(name);
    return found == records.end() ? nullptr : found->second.get();
}

/// The one rule by which a stored type fits a type of today.
std::optional<PlanFailure> gCheckType(const TypeSchema& stored, const RTTI::TypeHandle& today)
{
    const auto kind = static_cast<uint8_t>(today.GetDataType());
    if (stored.TypeName == today.GetName() && stored.DataType == kind)
        return std::nullopt;
    return PlanFailure{EError::Incompatible,
        Utility::gFormat("Compatibility issue: Type mismatch: object used to be of type %s and datatype %d, but is now "
                         "of type %s and datatype %d",
            stored.TypeName.c_str(), stored.DataType, today.Info->Name, kind),
        false};
}

bool gIsKind(const TypeSchema& stored, RTTI::EDataType kind)
{
    return stored.DataType == static_cast<uint8_t>(kind);
}

std::unique_ptr<TypePlan> gMakePrimitivePlan(const RTTI::TypeHandle& type)
{
    auto plan = std::make_unique<PrimitivePlan>(type);
    const EPrimitive kind = gGetPrimitiveKind(type);
    plan->IsBool = kind == EPrimitive::Bool;
    plan->IsString = kind == EPrimitive::String;
    plan->MinimumSize = plan->IsString ? cLengthSize : static_cast<uint32_t>(type.Info->Size);
    plan->IsComplete = true;
    if (kind == EPrimitive::Unknown)
        plan->Failure = gMakeCorruption("Unknown primitive type");
    return plan;
}

template <class T>
std::unique_ptr<TypePlan> gMakeIncompletePlan(const RTTI::TypeHandle& type, std::size_t minimumSize)
{
    auto plan = std::make_unique<T>(type);
    plan->MinimumSize = static_cast<uint32_t>(minimumSize);
    return plan;
}

std::unique_ptr<TypePlan> gMakePlan(const RTTI::TypeHandle& type)
{
    switch (type.GetDataType())
    {
    case RTTI::EDataType::Compound:
        return gMakeIncompletePlan<CompoundPlan>(type, cLengthSize);
    case RTTI::EDataType::Enum:
        return gMakeIncompletePlan<EnumPlan>(type, 1);
    case RTTI::EDataType::Array:
        return gMakeIncompletePlan<ArrayPlan>(type, 2 * cLengthSize);
    case RTTI::EDataType::Map:
        return gMakeIncompletePlan<MapPlan>(type, 2 * cLengthSize);
    case RTTI::EDataType::Pointer:
        return gMakeIncompletePlan<PointerPlan>(type, cLengthSize + cNullName.size());
    case RTTI::EDataType::Primitive:
        break;
    }
    return gMakePrimitivePlan(type);
}

/// Today's properties by name, each given out once, so that a name that occurs in a class and in its base is matched
/// in stored order.
class PropertyFinder
{
public:
    explicit PropertyFinder(const RTTI::TypeHandle& type)
    {
        for (const RTTI::Property* property : RTTI::gGetAllProperties(type))
            mProperties.emplace(property->Name, property);
    }

    const RTTI::Property* Take(std::string_view name)
    {
        const auto found = mProperties.find(name);
        if (found == mProperties.end())
            return nullptr;
        const RTTI::Property* const property = found->second;
        mProperties.erase(found);
        return property;
    }

private:
    std::multimap<std::string_view, const RTTI::Property*> mProperties;
};

}

BinaryReadPlanner::BinaryReadPlanner(const Schema& schema, const RTTI::TypeRegistry& registry)
    : mSchema{schema},
      mRegistry{registry}
{}

TypePlan& BinaryReadPlanner::GetPlan(const RTTI::TypeHandle& type)
{
    std::unique_ptr<TypePlan>& plan = mPlans[&type];
    if (plan == nullptr)
        plan = gMakePlan(type);
    return *plan;
}

void BinaryReadPlanner::Complete(TypePlan& plan)
{
    plan.IsComplete = true;
    switch (plan.Type->GetDataType())
    {
    case RTTI::EDataType::Compound:
        return Complete(static_cast<CompoundPlan&>(plan));
    case RTTI::EDataType::Enum:
        return Complete(static_cast<EnumPlan&>(plan));
    case RTTI::EDataType::Array:
        return Complete(static_cast<ArrayPlan&>(plan));
    case RTTI::EDataType::Map:
        return Complete(static_cast<MapPlan&>(plan));
    case RTTI::EDataType::Pointer:
        return Complete(static_cast<PointerPlan&>(plan));
    case RTTI::EDataType::Primitive:
        break;
    }
}

void BinaryReadPlanner::Complete(CompoundPlan& plan)
{
    const std::string name{plan.Type->GetName()};
    plan.IsRegistered = mRegistry.FindType(name) != nullptr;
    if (!plan.IsRegistered)
        return;
    const CompoundSchema* const stored = gFindRecord(mSchema.Compounds, name);
    if (stored == nullptr)
    {
        plan.Failure = gMakeMissingEntry(name);
        return;
    }
    const uint64_t fullVersion = RTTI::gGetCompound(*plan.Type).FullVersion;
    if (stored->FullVersion != fullVersion)
    {
        plan.Failure = PlanFailure{EError::Incompatible,
            Utility::gFormat("Compatibility issue: Version number of object of type %s has changed from %X to %X",
                name.c_str(), static_cast<unsigned>(stored->FullVersion), static_cast<unsigned>(fullVersion)),
            false};
        return;
    }
    PropertyFinder properties{*plan.Type};
    for (const PropertySchema& property : stored->Properties)
    {
        if (const RTTI::Property* const today = properties.Take(property.Name))
            AddProperty(plan, property, *today);
        else
            AddSkip(plan, property.Type);
    }
}

void BinaryReadPlanner::AddProperty(CompoundPlan& plan, const PropertySchema& stored, const RTTI::Property& today)
{
    std::optional<PlanFailure> failure;
    if (stored.Type.TypeName != today.Type->GetName())
        failure = PlanFailure{EError::Incompatible,
            Utility::gFormat("Compatibility issue: Property %s has switched from type %s to type %s. This is not "
                             "supported.",
                stored.Name.c_str(), stored.Type.TypeName.c_str(), today.Type->Info->Name),
            false};
    else
        failure = gCheckType(stored.Type, *today.Type);
    if (failure)
    {
        plan.PropertyFailures.push_back(std::make_unique<PlanFailure>(*std::move(failure)));
        plan.Steps.push_back({.Kind = ReadStep::EKind::FailProperty, .Failure = plan.PropertyFailures.back().get()});
        return;
    }

    TypePlan& value = GetPlan(*today.Type);
    const auto* const primitive = dynamic_cast<const PrimitivePlan*>(&value);
    if (primitive == nullptr || primitive->Failure || primitive->IsBool)
        plan.Steps.push_back({.Kind = ReadStep::EKind::ReadValue, .Offset = today.Offset, .Value = &value});
    else if (primitive->IsString)
        plan.Steps.push_back({.Kind = ReadStep::EKind::ReadString, .Offset = today.Offset});
    else if (!plan.Steps.empty() && plan.Steps.back().Kind == ReadStep::EKind::CopyBytes &&
             plan.Steps.back().Offset + plan.Steps.back().NumBytes == today.Offset)
        plan.Steps.back().NumBytes += value.MinimumSize;
    else
        plan.Steps.push_back(
            {.Kind = ReadStep::EKind::CopyBytes, .NumBytes = value.MinimumSize, .Offset = today.Offset});
}

void BinaryReadPlanner::AddSkip(CompoundPlan& plan, const TypeSchema& stored)
{
    const SkipPlan& skipped = GetSkipPlan(stored);
    if (skipped.Failure || skipped.Kind != SkipPlan::EKind::Bytes)
        plan.Steps.push_back({.Kind = ReadStep::EKind::SkipValue, .Skipped = &skipped});
    else if (!plan.Steps.empty() && plan.Steps.back().Kind == ReadStep::EKind::SkipBytes)
        plan.Steps.back().NumBytes += skipped.NumBytes;
    else
        plan.Steps.push_back({.Kind = ReadStep::EKind::SkipBytes, .NumBytes = skipped.NumBytes});
}

void BinaryReadPlanner::Complete(EnumPlan& plan)
{
    const std::string name{plan.Type->GetName()};
    const EnumSchema* const stored = gFindRecord(mSchema.Enums, name);
    if (stored == nullptr)
    {
        plan.Failure = gMakeMissingEntry(name);
        return;
    }
    plan.Failure = FindSizeType(name, *stored, plan.StoredSize, plan.IsStoredSigned);
    // The first name of a number counts.
    for (const EnumSchemaValue& value : stored->Values)
        plan.Targets.try_emplace(
            value.Value, EnumPlan::Target{RTTI::gFindEnumName(*plan.Type, value.Name), &value.Name});
}

std::optional<PlanFailure> BinaryReadPlanner::FindSizeType(
    const std::string& enumName, const EnumSchema& stored, uint32_t& size, bool& isSigned) const
{
    const RTTI::TypeHandle* const type = mRegistry.FindType(stored.SizeType.TypeName);
    const EPrimitive kind = type == nullptr ? EPrimitive::Unknown : gGetPrimitiveKind(*type);
    if (!gIsInteger(kind))
        return PlanFailure{EError::CorruptData,
            Utility::gFormat("Unable to retrieve enum size type for type %s", enumName.c_str()), false};
    size = static_cast<uint32_t>(type->Info->Size);
    isSigned = gIsSigned(kind);
    return std::nullopt;
}

void BinaryReadPlanner::Complete(ArrayPlan& plan)
{
    const std::string name{plan.Type->GetName()};
    const ArraySchema* const stored = gFindRecord(mSchema.Arrays, name);
    if (stored == nullptr)
    {
        plan.Failure = gMakeMissingEntry(name);
        return;
    }
    const RTTI::TypeHandle& element = *RTTI::gGetArray(*plan.Type).Element;
    plan.Failure = gCheckType(stored->EmbeddedType, element);
    plan.Element = &GetPlan(element);
    plan.IsBlock = element.GetDataType() == RTTI::EDataType::Primitive && RTTI::gGetPrimitive(element).IsPlainData;
}

void BinaryReadPlanner::Complete(MapPlan& plan)
{
    const std::string name{plan.Type->GetName()};
    const MapSchema* const stored = gFindRecord(mSchema.Maps, name);
    if (stored == nullptr)
    {
        plan.Failure = gMakeMissingEntry(name);
        return;
    }
    const RTTI::MapInfo& map = RTTI::gGetMap(*plan.Type);
    plan.Failure = gCheckType(stored->KeyType, *map.Key);
    if (!plan.Failure)
        plan.Failure = gCheckType(stored->ValueType, *map.Value);
    plan.Key = &GetPlan(*map.Key);
    plan.Value = &GetPlan(*map.Value);
}

void BinaryReadPlanner::Complete(PointerPlan& plan)
{
    const std::string name{plan.Type->GetName()};
    const PointerSchema* const stored = gFindRecord(mSchema.Pointers, name);
    if (stored == nullptr)
    {
        plan.Failure = gMakeMissingEntry(name);
        return;
    }
    const RTTI::TypeHandle& pointee = *RTTI::gGetPointer(*plan.Type).Pointee;
    plan.Failure = gCheckType(stored->PointeeType, pointee);
    plan.Pointee = &GetPlan(pointee);
}

const SkipPlan& BinaryReadPlanner::GetSkipPlan(const TypeSchema& stored)
{
    const auto [position, isNew] = mSkipPlans.try_emplace({stored.DataType, stored.TypeName});
    if (isNew)
        MakeSkipPlan(stored, position->second);
    return position->second;
}

void BinaryReadPlanner::MakeSkipPlan(const TypeSchema& stored, SkipPlan& plan) const
{
    if (gIsKind(stored, RTTI::EDataType::Compound) || gIsKind(stored, RTTI::EDataType::Array) ||
        gIsKind(stored, RTTI::EDataType::Map))
    {
        plan.Kind = SkipPlan::EKind::Body;
    }
    else if (gIsKind(stored, RTTI::EDataType::Primitive))
    {
        const RTTI::TypeHandle* const type = mRegistry.FindType(stored.TypeName);
        const EPrimitive kind = type == nullptr ? EPrimitive::Unknown : gGetPrimitiveKind(*type);
        if (kind == EPrimitive::Unknown)
            plan.Failure = gMakeCorruption("there is no primitive type " + stored.TypeName);
        else if (kind == EPrimitive::String)
            plan.Kind = SkipPlan::EKind::String;
        else
            plan.NumBytes = static_cast<uint32_t>(type->Info->Size);
    }
    else if (gIsKind(stored, RTTI::EDataType::Enum))
    {
        const EnumSchema* const enumeration = gFindRecord(mSchema.Enums, stored.TypeName);
        bool isSigned = false;
        plan.Failure = enumeration == nullptr ? gMakeMissingEntry(stored.TypeName)
                                              : FindSizeType(stored.TypeName, *enumeration, plan.NumBytes, isSigned);
    }
    else if (gIsKind(stored, RTTI::EDataType::Pointer))
    {
        plan.Kind = SkipPlan::EKind::Pointer;
        if (const PointerSchema* const pointer = gFindRecord(mSchema.Pointers, stored.TypeName))
            plan.Pointee = &pointer->PointeeType;
        else
            plan.Failure = gMakeMissingEntry(stored.TypeName);
    }
    else
    {
        plan.Failure = gMakeCorruption(Utility::gFormat("there is no kind of types with number %d", stored.DataType));
    }
}

}
