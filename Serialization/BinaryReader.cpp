#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <unordered_map>
#include <utility>

#include "Serialization/BinaryFormat.h"
#include "Serialization/BinaryLayout.h"
#include "Serialization/BinaryReadPlan.h"
#include "Serialization/JsonFormat.h"
#include "Serialization/PrimitiveKind.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/ReadRules.h"
#include "Serialization/RootObjects.h"
#include "SpindlemarkAPI/InstrumentationScope.h"
#include "Utility/FileSystem.h"
#include "Utility/Hash.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/Result.h"

namespace Serialization
{

namespace
{

/// Reads the objects of one buffer by their plans. The readable range is that of the innermost open body, so that
/// nothing inside can reach beyond it. The first failure ends everything.
class ObjectReader
{
public:
    /// `content` is the buffer without its checksum; the objects begin at `position`.
    ObjectReader(std::span<const std::byte> content, std::size_t position, const Schema& schema,
        const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory, EUnknownTypePolicy policy,
        Utility::Result& result)
        : mBegin{content.data()},
          mCurrent{content.data() + position},
          mEnd{content.data() + content.size()},
          mAllocationLimit{gGetAllocationLimit(content.size())},
          mRegistry{registry},
          mFactory{factory},
          mPolicy{policy},
          mResult{result},
          mPlanner{schema, registry}
    {}

    bool ReadRoots(std::vector<std::unique_ptr<RTTI::Object>>& objects)
    {
        uint64_t count = 0;
        if (!ReadCount(2 * cLengthSize, count))
            return false;
        for (uint64_t i = 0; i < count; ++i)
        {
            std::unique_ptr<RTTI::Object> root;
            if (!ReadRoot(root))
                return false;
            if (root != nullptr)
                objects.push_back(std::move(root));
        }
        return mCurrent == mEnd || Corrupt("there is data behind the last object");
    }

private:
    /// What a type name in the buffer stands for today.
    struct NamedType
    {
        const RTTI::TypeHandle* Type = nullptr;
        CompoundPlan* Plan = nullptr; ///< null when the type is unknown or no class
    };

    std::size_t GetRemaining() const { return static_cast<std::size_t>(mEnd - mCurrent); }

    [[gnu::cold]] bool Corrupt(const char* reason)
    {
        return mResult.Fail(EError::CorruptData, "The buffer is corrupted at offset %zu: %s",
            static_cast<std::size_t>(mCurrent - mBegin), reason);
    }

    [[gnu::cold]] bool CorruptNamed(const char* reason, const RTTI::TypeHandle& type)
    {
        return Corrupt((reason + std::string{type.GetName()}).c_str());
    }

    [[gnu::cold]] bool Fail(const PlanFailure& failure)
    {
        return failure.HasOffset ? Corrupt(failure.Message.c_str()) : mResult.FailText(failure.Code, failure.Message);
    }

    bool ReadLength(uint64_t& length)
    {
        if (GetRemaining() < sizeof(length)) [[unlikely]]
            return Corrupt("the data ends too early");
        std::memcpy(&length, mCurrent, sizeof(length));
        mCurrent += sizeof(length);
        return true;
    }

    /// A number of values that take at least `minimumSize` bytes each.
    bool ReadCount(std::size_t minimumSize, uint64_t& count)
    {
        if (!ReadLength(count))
            return false;
        return count <= GetRemaining() / minimumSize || Corrupt("there cannot be that many values");
    }

    bool ReadText(std::string_view& text)
    {
        uint64_t length = 0;
        if (!ReadLength(length))
            return false;
        if (length > GetRemaining()) [[unlikely]]
            return Corrupt("a text is longer than the data");
        text = {reinterpret_cast<const char*>(mCurrent), static_cast<std::size_t>(length)};
        mCurrent += length;
        return true;
    }

    bool Skip(uint64_t numBytes)
    {
        if (numBytes > GetRemaining()) [[unlikely]]
            return Corrupt("a value is longer than the data");
        mCurrent += numBytes;
        return true;
    }

    bool SkipBody()
    {
        uint64_t size = 0;
        return ReadLength(size) && Skip(size);
    }

    bool EnterLevel() { return ++mDepth <= cMaxNesting || Corrupt("values are nested too deeply"); }

    bool LeaveLevel()
    {
        --mDepth;
        return true;
    }

    /// Narrows the range to the body that begins here; `outer` keeps the one around it.
    bool EnterBody(const std::byte*& outer)
    {
        uint64_t size = 0;
        if (!EnterLevel() || !ReadLength(size))
            return false;
        if (size > GetRemaining()) [[unlikely]]
            return Corrupt("a body is longer than the data");
        outer = std::exchange(mEnd, mCurrent + size);
        return true;
    }

    bool LeaveBody(const std::byte* outer)
    {
        if (mCurrent != mEnd) [[unlikely]]
            return Corrupt("a body is longer than its values");
        mEnd = outer;
        return LeaveLevel();
    }

    bool ReadRoot(std::unique_ptr<RTTI::Object>& root)
    {
        std::string_view name;
        if (!ReadText(name))
            return false;
        if (name == cNullName)
            return mResult.Fail(EError::CorruptData, "Encountered null root object");
        RTTI::UniqueTypedPtr object;
        if (!ReadNamed(name, object))
            return false;
        if (!object)
            return true;
        if (!RTTI::gIsDerivedFrom(*object.GetType(), RTTI::gTypeOf<RTTI::Object>()))
            return mResult.Fail(EError::CorruptData, "Root objects must be of type RTTI::Object");
        root.reset(static_cast<RTTI::Object*>(object.Release()));
        return true;
    }

    /// The entries stay where they are, and the names lie in the buffer.
    const NamedType& FindNamed(std::string_view name)
    {
        if (mLastNamed != nullptr && mLastNamed->first == name)
            return mLastNamed->second;
        const auto [position, isNew] = mNamedTypes.try_emplace(name);
        NamedType& named = position->second;
        if (isNew)
        {
            named.Type = mRegistry.FindType(name);
            if (named.Type != nullptr && named.Type->GetDataType() == RTTI::EDataType::Compound)
                named.Plan = static_cast<CompoundPlan*>(&mPlanner.GetPlan(*named.Type));
        }
        mLastNamed = &*position;
        return named;
    }

    /// Makes and reads the object that follows its name. `object` stays empty when a type is passed over.
    bool ReadNamed(std::string_view name, RTTI::UniqueTypedPtr& object)
    {
        const NamedType& named = FindNamed(name);
        if (named.Type == nullptr)
        {
            if (mPolicy == EUnknownTypePolicy::Skip)
                return SkipBody();
            return mResult.Fail(
                EError::Incompatible, "The type %s was not registered into the system", std::string{name}.c_str());
        }
        if (named.Plan == nullptr)
            return mResult.Fail(EError::Incompatible,
                "Compatibility issue: Object %s used to be a compound, but is now of type %s", named.Type->Info->Name,
                named.Type->Info->Name);
        RTTI::UniqueTypedPtr created;
        if (!Create(*named.Type, created) || !Read(*named.Plan, created.Get()))
            return false;
        object = std::move(created);
        return true;
    }

    /// A file may name any registered class, so also one that nobody can make here.
    bool Create(const RTTI::TypeHandle& type, RTTI::UniqueTypedPtr& object)
    {
        object = mFactory.Create(&type);
        return (object && RTTI::gIsDerivedFrom(*object.GetType(), type)) ||
               CorruptNamed("there is no way to create an object of type ", type);
    }

    bool Read(TypePlan& plan, void* target)
    {
        if (!plan.IsComplete) [[unlikely]]
            mPlanner.Complete(plan);
        if (plan.Failure) [[unlikely]]
            return Fail(*plan.Failure);
        switch (plan.Type->GetDataType())
        {
        case RTTI::EDataType::Compound:
            return ReadCompound(static_cast<const CompoundPlan&>(plan), target);
        case RTTI::EDataType::Primitive:
            return ReadPrimitive(static_cast<const PrimitivePlan&>(plan), target);
        case RTTI::EDataType::Enum:
            return ReadEnum(static_cast<const EnumPlan&>(plan), target);
        case RTTI::EDataType::Array:
            return ReadArray(static_cast<const ArrayPlan&>(plan), target);
        case RTTI::EDataType::Map:
            return ReadMap(static_cast<const MapPlan&>(plan), target);
        case RTTI::EDataType::Pointer:
            return ReadPointer(static_cast<const PointerPlan&>(plan), target);
        }
        return Corrupt("there is no such kind of types");
    }

    bool ReadCompound(const CompoundPlan& plan, void* target)
    {
        const std::byte* outer = nullptr;
        if (!EnterBody(outer))
            return false;
        if (!plan.IsRegistered)
            mCurrent = mEnd;
        for (const ReadStep& step : plan.Steps)
        {
            if (!Execute(step, static_cast<std::byte*>(target)))
                return false;
        }
        return LeaveBody(outer);
    }

    bool Execute(const ReadStep& step, std::byte* object)
    {
        switch (step.Kind)
        {
        case ReadStep::EKind::CopyBytes:
            return CopyBytes(object + step.Offset, step.NumBytes);
        case ReadStep::EKind::ReadString:
            return ReadString(*reinterpret_cast<std::string*>(object + step.Offset));
        case ReadStep::EKind::ReadValue:
            return Read(*step.Value, object + step.Offset);
        case ReadStep::EKind::SkipBytes:
            return Skip(step.NumBytes);
        case ReadStep::EKind::SkipValue:
            return SkipValue(*step.Skipped);
        case ReadStep::EKind::FailProperty:
            return Fail(*step.Failure);
        }
        return false;
    }

    bool CopyBytes(std::byte* target, std::size_t numBytes)
    {
        if (numBytes > GetRemaining()) [[unlikely]]
            return Corrupt("the data ends too early");
        std::memcpy(target, mCurrent, numBytes);
        mCurrent += numBytes;
        return true;
    }

    bool ReadString(std::string& target)
    {
        std::string_view text;
        if (!ReadText(text))
            return false;
        target.assign(text);
        return true;
    }

    bool SkipValue(const SkipPlan& plan)
    {
        if (plan.Failure)
            return Fail(*plan.Failure);
        switch (plan.Kind)
        {
        case SkipPlan::EKind::Bytes:
            return Skip(plan.NumBytes);
        case SkipPlan::EKind::String:
        case SkipPlan::EKind::Body:
            return SkipBody();
        case SkipPlan::EKind::Pointer:
            break;
        }
        std::string_view name;
        if (!ReadText(name))
            return false;
        return name == cNullName || (EnterLevel() && SkipValue(mPlanner.GetSkipPlan(*plan.Pointee)) && LeaveLevel());
    }

    bool ReadPrimitive(const PrimitivePlan& plan, void* target)
    {
        if (plan.IsString)
            return ReadString(*static_cast<std::string*>(target));
        if (!plan.IsBool)
            return CopyBytes(static_cast<std::byte*>(target), plan.MinimumSize);
        std::byte value{};
        if (!CopyBytes(&value, 1))
            return false;
        *static_cast<bool*>(target) = value != std::byte{0};
        return true;
    }

    /// A value moves by its name: the number may be another one today.
    bool ReadEnum(const EnumPlan& plan, void* target)
    {
        if (plan.StoredSize > GetRemaining())
            return Corrupt("the data ends too early");
        const uint64_t number = gLoadInteger(mCurrent, plan.StoredSize, plan.IsStoredSigned);
        const auto found = plan.Targets.find(number);
        if (found == plan.Targets.end() || found->second.Index < 0)
            return mResult.Fail(EError::Incompatible,
                "Compatibility issue: enum %s does not contain the value %s anymore.", plan.Type->Info->Name,
                found == plan.Targets.end() ? "" : found->second.Name->c_str());
        RTTI::gSetEnumValueByIndex(*plan.Type, {plan.Type, target}, found->second.Index);
        mCurrent += plan.StoredSize;
        return true;
    }

    bool ReadArray(const ArrayPlan& plan, void* target)
    {
        const std::byte* outer = nullptr;
        uint64_t count = 0;
        if (!EnterBody(outer) || !ReadCount(plan.Element->MinimumSize, count))
            return false;
        const auto elementSize = static_cast<std::size_t>(plan.Element->Type->Info->Size);
        if (count > static_cast<uint64_t>(std::numeric_limits<int32_t>::max()) ||
            count > mAllocationLimit / elementSize)
            return CorruptNamed("there are too many elements for type ", *plan.Type);
        const RTTI::ArrayInfo& array = RTTI::gGetArray(*plan.Type);
        array.Resize(target, static_cast<int32_t>(count));
        if (count != 0 && !ReadElements(plan, static_cast<std::byte*>(array.Data(target)), count * elementSize))
            return false;
        return LeaveBody(outer);
    }

    /// The elements lie in a row, as those of any vector do.
    bool ReadElements(const ArrayPlan& plan, std::byte* first, std::size_t numBytes)
    {
        if (plan.IsBlock)
            return CopyBytes(first, numBytes);
        const auto elementSize = static_cast<std::size_t>(plan.Element->Type->Info->Size);
        for (std::byte* element = first; element != first + numBytes; element += elementSize)
        {
            if (!Read(*plan.Element, element))
                return false;
        }
        return true;
    }

    bool ReadMap(const MapPlan& plan, void* target)
    {
        const std::byte* outer = nullptr;
        uint64_t count = 0;
        if (!EnterBody(outer) || !ReadCount(plan.Key->MinimumSize + plan.Value->MinimumSize, count))
            return false;
        if (count > static_cast<uint64_t>(std::numeric_limits<int32_t>::max()))
            return CorruptNamed("there are too many entries for type ", *plan.Type);
        if (count != 0 && !ReadEntries(plan, target, static_cast<int32_t>(count)))
            return false;
        return LeaveBody(outer);
    }

    /// Each value is read where it stays, so that nothing of one entry can get into the next.
    bool ReadEntries(const MapPlan& plan, void* target, int32_t count)
    {
        const RTTI::MapInfo& map = RTTI::gGetMap(*plan.Type);
        // Beyond this the buckets grow with the entries that are really there.
        const std::size_t maxReserved = mAllocationLimit / (2 * sizeof(void*));
        map.Reserve(target, static_cast<int32_t>(std::min(static_cast<std::size_t>(count), maxReserved)));
        const bool wasEmpty = map.Size(target) == 0;
        RTTI::UniqueTypedPtr key;
        if (!Create(*map.Key, key))
            return false;
        for (int32_t i = 0; i < count; ++i)
        {
            if (!Read(*plan.Key, key.Get()))
                return false;
            void* const value = map.Get(target, key.Get());
            if (!Read(*plan.Value, value))
                return false;
        }
        // What the constructor has put there may be in the file as well; anything else is there once.
        return !wasEmpty || map.Size(target) == count || CorruptNamed("a key occurs twice in type ", *plan.Type);
    }

    bool ReadPointer(const PointerPlan& plan, void* target)
    {
        std::string_view name;
        if (!ReadText(name))
            return false;
        if (name == cNullName)
            return true;
        const RTTI::TypeHandle& pointee = *plan.Pointee->Type;
        RTTI::UniqueTypedPtr object;
        if (!EnterLevel())
            return false;
        if (pointee.GetDataType() == RTTI::EDataType::Compound)
        {
            if (!ReadPointee(name, pointee, object))
                return false;
        }
        else if (name != pointee.GetName())
            return CorruptNamed("the value behind a pointer is not of type ", pointee);
        else if (!Create(pointee, object) || !Read(*plan.Pointee, object.Get()))
            return false;
        if (object)
            RTTI::gGetPointer(*plan.Type).Reset(target, object.Release());
        return LeaveLevel();
    }

    bool ReadPointee(std::string_view name, const RTTI::TypeHandle& pointee, RTTI::UniqueTypedPtr& object)
    {
        if (!ReadNamed(name, object))
            return false;
        return !object || gFitsPointer(*object.GetType(), pointee) ||
               mResult.Fail(EError::Incompatible,
                   "Compatibility issue: object of type %s used to be derived from %s but isn't anymore",
                   object.GetType()->Info->Name, pointee.Info->Name);
    }

    const std::byte* const mBegin;
    const std::byte* mCurrent;
    const std::byte* mEnd;
    const std::size_t mAllocationLimit;
    int mDepth = 0;

    const RTTI::TypeRegistry& mRegistry;
    const RTTI::ObjectFactory& mFactory;
    const EUnknownTypePolicy mPolicy;
    Utility::Result& mResult;

    BinaryReadPlanner mPlanner;
    std::unordered_map<std::string_view, NamedType> mNamedTypes;
    const std::pair<const std::string_view, NamedType>* mLastNamed = nullptr;
};

uint64_t gComputeChecksum(uint32_t formatVersion, std::span<const std::byte> content)
{
    return formatVersion >= cFirstVersionWithXXH64 ? Utility::gXXH64(content) : Utility::gCRC64Jones(content);
}

/// Checks that the buffer is one of this format and whole; `content` is all of it but the checksum.
bool gOpenBuffer(std::span<const std::byte> buffer, std::span<const std::byte>& content, Utility::Result& result)
{
    uint32_t magic = 0;
    uint32_t formatVersion = 0;
    if (buffer.size() >= cPreambleSize)
    {
        std::memcpy(&magic, buffer.data(), sizeof(magic));
        std::memcpy(&formatVersion, buffer.data() + sizeof(magic), sizeof(formatVersion));
    }
    if (magic != cMagic)
        return result.Fail(EError::InvalidBuffer, "The buffer is not a Quarkspindle buffer, or it is corrupted");
    content = buffer.first(buffer.size() - cChecksumSize);
    uint64_t checksum = 0;
    std::memcpy(&checksum, buffer.data() + content.size(), sizeof(checksum));
    return result.Check(checksum == gComputeChecksum(formatVersion, content), EError::CorruptData,
        "The buffer is possibly corrupted: CRC check failed");
}

}

bool gReadBinary(Utility::InputMemoryStream& stream, const RTTI::TypeRegistry& registry,
    const RTTI::ObjectFactory& factory, EUnknownTypePolicy policy, std::vector<std::unique_ptr<RTTI::Object>>& objects,
    Utility::Result& result)
{
    const SpindlemarkAPI::InstrumentationScope scope{"Serialization::gReadBinary"};
    std::span<const std::byte> content;
    if (!gOpenBuffer({stream.GetCurrent(), stream.GetRemaining()}, content, result))
        return false;

    Utility::InputMemoryStream front{content};
    std::string_view schemaText;
    if (!front.TrySkip(cPreambleSize) || !front.TryReadString(schemaText))
        return result.Fail(EError::CorruptData,
            "The buffer is corrupted at offset %zu: the schema is longer than the data", cPreambleSize);
    std::vector<std::unique_ptr<RTTI::Object>> schemas;
    if (!gReadJson(schemaText, registry, factory, schemas, result))
        return false;
    const std::unique_ptr<Schema> schema = gTakeFirst<Schema>(schemas);
    if (schema == nullptr)
        return result.Fail(EError::CorruptData, "The schema was not found");

    ObjectReader reader{content, front.GetPosition(), *schema, registry, factory, policy, result};
    if (!reader.ReadRoots(objects))
        return false;
    stream.SetPosition(stream.GetSize());
    return true;
}

bool gReadBinaryFile(const std::string& path, const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory,
    EUnknownTypePolicy policy, std::vector<std::unique_ptr<RTTI::Object>>& objects, Utility::Result& result)
{
    const Utility::ResultContext context = result.PushContext(path);
    std::vector<std::byte> bytes;
    if (!result.Check(
            FileSystem::gFileExists(path), EError::FileNotFound, "The file %s does not exist", path.c_str()) ||
        !result.Check(FileSystem::gReadFileToBuffer(path, bytes), EError::FileReadFailed,
            "Unable to read binary file %s", path.c_str()))
        return false;
    Utility::InputMemoryStream stream{std::span<const std::byte>{bytes}};
    return gReadBinary(stream, registry, factory, policy, objects, result);
}

}
