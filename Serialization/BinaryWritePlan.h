#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Serialization/RTTI/TypeInfo.h"

/// How values of a type are written, found out once per type and write.
namespace Serialization
{

struct WritePlan;

/// One step of a compound.
struct WriteStep
{
    enum class EKind : uint8_t
    {
        CopyBytes, ///< `NumBytes` from `Offset`: plain properties that lie in a row
        WriteString,
        WriteValue, ///< by `Value`
    };

    EKind Kind;
    uint32_t NumBytes = 0;
    uint64_t Offset = 0;
    const WritePlan* Value = nullptr;
};

struct WritePlan
{
    enum class EKind : uint8_t
    {
        Bytes, ///< `NumBytes` as they lie in memory: plain primitives and enums
        String,
        Compound, ///< `Steps`
        Array,    ///< of `Element`
        Map,      ///< of `Key` and `Element`
        Pointer,
        Unregistered, ///< a class that cannot be written
        Unknown,      ///< a primitive that the registry does not have
    };

    const RTTI::TypeHandle* Type = nullptr;
    EKind Kind = EKind::Unknown;
    uint32_t NumBytes = 0;
    std::vector<WriteStep> Steps;
    const WritePlan* Key = nullptr;
    const WritePlan* Element = nullptr;
};

/// Makes and keeps the plans of one write.
class BinaryWritePlanner
{
public:
    /// The plan stays where it is.
    const WritePlan& GetPlan(const RTTI::TypeHandle& type);

private:
    void Fill(WritePlan& plan);
    void AddStep(std::vector<WriteStep>& steps, const RTTI::Property& property);

    std::unordered_map<const RTTI::TypeHandle*, std::unique_ptr<WritePlan>> mPlans;
};

}
