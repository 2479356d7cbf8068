#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Serialization/Error.h"
#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/Schema.h"

namespace RTTI
{
class TypeRegistry;
}

/// How the values of a stored schema get into today's types. Comparing names, kinds and versions is done once per type,
/// here; reading a value then is a walk over a few steps. A plan is completed when the first value of its type is read,
/// so that what does not fit is an error only where there is data that does not fit.
namespace Serialization
{

/// Why values of a type cannot be read. The read fails with it at the first of them.
struct PlanFailure
{
    EError Code;
    std::string Message;
    bool HasOffset; ///< whether the place in the buffer is to be told too
};

/// How a stored value without a place in today's types is passed over.
struct SkipPlan
{
    enum class EKind : uint8_t
    {
        Bytes,
        String,
        Body,    ///< a body size and that many bytes
        Pointer, ///< a type name and, unless it is null, a pointee
    };

    EKind Kind = EKind::Bytes;
    uint32_t NumBytes = 0;               ///< of `Bytes`
    const TypeSchema* Pointee = nullptr; ///< of `Pointer`
    std::optional<PlanFailure> Failure;
};

/// Common to the plans of all kinds of types.
struct TypePlan
{
    explicit TypePlan(const RTTI::TypeHandle& type) : Type{&type} {}
    virtual ~TypePlan() = default;

    const RTTI::TypeHandle* Type;
    uint32_t MinimumSize = 0; ///< bytes that any stored value takes at least
    bool IsComplete = false;
    std::optional<PlanFailure> Failure;
};

struct PrimitivePlan final : TypePlan
{
    using TypePlan::TypePlan;

    bool IsBool = false;
    bool IsString = false; ///< else `MinimumSize` bytes, as they lie in memory
};

struct EnumPlan final : TypePlan
{
    using TypePlan::TypePlan;

    struct Target
    {
        int32_t Index; ///< of today's value, or -1
        const std::string* Name;
    };

    uint32_t StoredSize = 0;
    bool IsStoredSigned = false;
    std::unordered_map<uint64_t, Target> Targets; ///< by stored number
};

struct ArrayPlan final : TypePlan
{
    using TypePlan::TypePlan;

    TypePlan* Element = nullptr;
    bool IsBlock = false; ///< the elements are copied at once
};

struct MapPlan final : TypePlan
{
    using TypePlan::TypePlan;

    TypePlan* Key = nullptr;
    TypePlan* Value = nullptr;
};

struct PointerPlan final : TypePlan
{
    using TypePlan::TypePlan;

    TypePlan* Pointee = nullptr;
};

/// One step of a compound: moves some of its stored bytes.
struct ReadStep
{
    enum class EKind : uint8_t
    {
        CopyBytes,   ///< `NumBytes` to `Offset`: plain properties that lie in a row on both sides
        ReadString,  ///< to `Offset`
        ReadValue,   ///< by `Value`, to `Offset`
        SkipBytes,   ///< `NumBytes`
        SkipValue,   ///< by `Skipped`
        FailProperty ///< by `Failure`: the property has changed its type
    };

    EKind Kind;
    uint32_t NumBytes = 0;
    uint64_t Offset = 0;
    TypePlan* Value = nullptr;
    const SkipPlan* Skipped = nullptr;
    const PlanFailure* Failure = nullptr;
};

struct CompoundPlan final : TypePlan
{
    using TypePlan::TypePlan;

    bool IsRegistered = true; ///< a class that is not is passed over
    std::vector<ReadStep> Steps;
    std::vector<std::unique_ptr<PlanFailure>> PropertyFailures;
};

/// Makes and keeps the plans of one read.
class BinaryReadPlanner
{
public:
    /// Both must outlive the planner.
    BinaryReadPlanner(const Schema& schema, const RTTI::TypeRegistry& registry);

    /// The plan of a type of today, perhaps incomplete.
    TypePlan& GetPlan(const RTTI::TypeHandle& type);

    /// Settles how values of the type are read, or that they cannot be: see `Failure`.
    void Complete(TypePlan& plan);

    const SkipPlan& GetSkipPlan(const TypeSchema& stored);

private:
    void Complete(CompoundPlan& plan);
    void Complete(EnumPlan& plan);
    void Complete(ArrayPlan& plan);
    void Complete(MapPlan& plan);
    void Complete(PointerPlan& plan);

    void AddProperty(CompoundPlan& plan, const PropertySchema& stored, const RTTI::Property& today);
    void AddSkip(CompoundPlan& plan, const TypeSchema& stored);
    std::optional<PlanFailure> FindSizeType(
        const std::string& enumName, const EnumSchema& stored, uint32_t& size, bool& isSigned) const;
    void MakeSkipPlan(const TypeSchema& stored, SkipPlan& plan) const;

    const Schema& mSchema;
    const RTTI::TypeRegistry& mRegistry;
    std::unordered_map<const RTTI::TypeHandle*, std::unique_ptr<TypePlan>> mPlans;
    std::map<std::pair<uint8_t, std::string_view>, SkipPlan> mSkipPlans;
};

}
