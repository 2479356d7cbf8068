#include "Serialization/BinaryWritePlan.h"

#include "Serialization/PrimitiveKind.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeQueries.h"

namespace Serialization
{

const WritePlan& BinaryWritePlanner::GetPlan(const RTTI::TypeHandle& type)
{
    std::unique_ptr<WritePlan>& slot = mPlans[&type];
    if (slot != nullptr)
        return *slot;
    // In its place before it is filled: a class may reach itself.
    slot = std::make_unique<WritePlan>();
    WritePlan& plan = *slot;
    plan.Type = &type;
    Fill(plan);
    return plan;
}

void BinaryWritePlanner::Fill(WritePlan& plan)
{
    const RTTI::TypeHandle& type = *plan.Type;
    switch (type.GetDataType())
    {
    case RTTI::EDataType::Compound:
        plan.Kind =
            RTTI::gGetCompound(type).ClassIndex == -1 ? WritePlan::EKind::Unregistered : WritePlan::EKind::Compound;
        for (const RTTI::Property* property : RTTI::gGetAllProperties(type))
            AddStep(plan.Steps, *property);
        break;
    case RTTI::EDataType::Primitive:
    {
        const EPrimitive kind = gGetPrimitiveKind(type);
        if (kind == EPrimitive::String)
            plan.Kind = WritePlan::EKind::String;
        else if (kind != EPrimitive::Unknown)
        {
            plan.Kind = WritePlan::EKind::Bytes;
            plan.NumBytes = static_cast<uint32_t>(type.Info->Size);
        }
        break;
    }
    case RTTI::EDataType::Enum:
        plan.Kind = WritePlan::EKind::Bytes;
        plan.NumBytes = static_cast<uint32_t>(RTTI::gGetEnum(type).Underlying->Info->Size);
        break;
    case RTTI::EDataType::Array:
        plan.Kind = WritePlan::EKind::Array;
        plan.Element = &GetPlan(*RTTI::gGetArray(type).Element);
        break;
    case RTTI::EDataType::Map:
        plan.Kind = WritePlan::EKind::Map;
        plan.Key = &GetPlan(*RTTI::gGetMap(type).Key);
        plan.Element = &GetPlan(*RTTI::gGetMap(type).Value);
        break;
    case RTTI::EDataType::Pointer:
        plan.Kind = WritePlan::EKind::Pointer;
        break;
    }
}

void BinaryWritePlanner::AddStep(std::vector<WriteStep>& steps, const RTTI::Property& property)
{
    const WritePlan& value = GetPlan(*property.Type);
    if (value.Kind == WritePlan::EKind::String)
        steps.push_back({.Kind = WriteStep::EKind::WriteString, .Offset = property.Offset});
    else if (value.Kind != WritePlan::EKind::Bytes)
        steps.push_back({.Kind = WriteStep::EKind::WriteValue, .Offset = property.Offset, .Value = &value});
    else if (!steps.empty() && steps.back().Kind == WriteStep::EKind::CopyBytes &&
             steps.back().Offset + steps.back().NumBytes == property.Offset)
        steps.back().NumBytes += value.NumBytes;
    else
        steps.push_back({.Kind = WriteStep::EKind::CopyBytes, .NumBytes = value.NumBytes, .Offset = property.Offset});
}

}
