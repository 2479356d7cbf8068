#include <algorithm>
#include <cassert>
#include <cstring>
#include <string>
#include <unordered_map>

#include "Serialization/BinaryFormat.h"
#include "Serialization/BinaryLayout.h"
#include "Serialization/BinaryWritePlan.h"
#include "Serialization/JsonFormat.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/ReadRules.h"
#include "Serialization/Schema.h"
#include "Utility/FileWriter.h"
#include "Utility/Hash.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"

namespace Serialization
{

namespace
{

bool gFailUnregistered(const RTTI::TypeHandle& type, Utility::Result& result)
{
    return result.Fail(EError::Unspecified,
        "Unable to write compound of type %s which has not been registered with the RTTI registry", type.Info->Name);
}

/// Appends objects to a stream, and the classes that only show behind pointers to a schema.
class ObjectWriter
{
public:
    ObjectWriter(Utility::OutputMemoryStream& stream, Schema& schema, Utility::Result& result)
        : mStream{stream},
          mSchema{schema},
          mResult{result}
    {}

    bool WriteRoots(const std::vector<RTTI::Object*>& objects)
    {
        mStream.Write(uint64_t{objects.size()});
        for (RTTI::Object* object : objects)
        {
            if (!WriteNamed(object->GetType(), object))
                return false;
        }
        return true;
    }

private:
    /// A type name, then the object.
    bool WriteNamed(const RTTI::TypeHandle& type, void* object)
    {
        mStream.WriteString(type.GetName());
        return Write(GetNamedPlan(type), object);
    }

    const WritePlan& GetNamedPlan(const RTTI::TypeHandle& type)
    {
        if (mLastNamed != nullptr && mLastNamed->Type == &type)
            return *mLastNamed;
        const auto [position, isNew] = mNamedPlans.try_emplace(&type);
        if (isNew)
        {
            mSchema.AddType(type);
            position->second = &mPlanner.GetPlan(type);
        }
        mLastNamed = position->second;
        return *mLastNamed;
    }

    bool Write(const WritePlan& plan, void* value)
    {
        switch (plan.Kind)
        {
        case WritePlan::EKind::Bytes:
            mStream.WriteBytes(value, plan.NumBytes);
            return true;
        case WritePlan::EKind::String:
            mStream.WriteString(*static_cast<const std::string*>(value));
            return true;
        case WritePlan::EKind::Compound:
            return WriteCompound(plan, static_cast<std::byte*>(value));
        case WritePlan::EKind::Array:
            return WriteArray(plan, value);
        case WritePlan::EKind::Map:
            return WriteMap(plan, value);
        case WritePlan::EKind::Pointer:
            return WritePointer(plan, value);
        case WritePlan::EKind::Unregistered:
            return gFailUnregistered(*plan.Type, mResult);
        case WritePlan::EKind::Unknown:
            break;
        }
        return mResult.Fail(EError::Unspecified, "Unknown primitive type");
    }

    bool EnterLevel(const WritePlan& plan)
    {
        return ++mDepth <= cMaxNesting ||
               mResult.Fail(EError::Unspecified, "Objects of type %s are nested too deeply", plan.Type->Info->Name);
    }

    bool LeaveLevel()
    {
        --mDepth;
        return true;
    }

    /// Makes room for a large value at once, whose size in memory is a fair guess: each growth would move all that is
    /// there, and moving costs less than first touching the memory that it goes to. Something small mostly follows.
    void ExpectBytes(std::size_t numBytes)
    {
        const std::size_t needed = mStream.GetPosition() + numBytes + cSlack;
        if (needed > mStream.GetCapacity())
            mStream.Reserve(std::max(needed, mStream.GetCapacity() + mStream.GetCapacity() / 2));
    }

    /// Leaves room for a body size and gives its position.
    std::size_t BeginBody()
    {
        const std::size_t position = mStream.GetPosition();
        mStream.Write(uint64_t{0});
        return position;
    }

    void EndBody(std::size_t position)
    {
        const uint64_t size = mStream.GetPosition() - position - cLengthSize;
        std::memcpy(mStream.GetBuffer() + position, &size, sizeof(size));
    }

    bool WriteCompound(const WritePlan& plan, std::byte* object)
    {
        if (!EnterLevel(plan))
            return false;
        const std::size_t body = BeginBody();
        for (const WriteStep& step : plan.Steps)
        {
            std::byte* const value = object + step.Offset;
            if (step.Kind == WriteStep::EKind::CopyBytes)
                mStream.WriteBytes(value, step.NumBytes);
            else if (step.Kind == WriteStep::EKind::WriteString)
                mStream.WriteString(*reinterpret_cast<const std::string*>(value));
            else if (!Write(*step.Value, value))
                return false;
        }
        EndBody(body);
        return LeaveLevel();
    }

    bool CheckCount(const WritePlan& plan, int32_t count)
    {
        return count >= 0 ||
               mResult.Fail(EError::Unspecified, "A value of type %s has too many elements", plan.Type->Info->Name);
    }

    bool WriteArray(const WritePlan& plan, void* value)
    {
        const RTTI::ArrayInfo& array = RTTI::gGetArray(*plan.Type);
        const int32_t count = array.Size(value);
        if (!EnterLevel(plan) || !CheckCount(plan, count))
            return false;
        ExpectBytes(static_cast<std::size_t>(count) * static_cast<std::size_t>(plan.Element->Type->Info->Size));
        const std::size_t body = BeginBody();
        mStream.Write(static_cast<uint64_t>(count));
        if (count != 0 && !WriteElements(plan, static_cast<std::byte*>(array.Data(value)), count))
            return false;
        EndBody(body);
        return LeaveLevel();
    }

    /// The elements lie in a row, as those of any vector do.
    bool WriteElements(const WritePlan& plan, std::byte* first, int32_t count)
    {
        const auto elementSize = static_cast<std::size_t>(plan.Element->Type->Info->Size);
        const std::size_t numBytes = static_cast<std::size_t>(count) * elementSize;
        if (plan.Element->Kind == WritePlan::EKind::Bytes && plan.Element->NumBytes == elementSize)
        {
            mStream.WriteBytes(first, numBytes);
            return true;
        }
        for (std::byte* element = first; element != first + numBytes; element += elementSize)
        {
            if (!Write(*plan.Element, element))
                return false;
        }
        return true;
    }

    bool WriteMap(const WritePlan& plan, void* value)
    {
        const RTTI::MapInfo& map = RTTI::gGetMap(*plan.Type);
        const int32_t count = map.Size(value);
        if (!EnterLevel(plan) || !CheckCount(plan, count))
            return false;
        const std::size_t body = BeginBody();
        mStream.Write(static_cast<uint64_t>(count));
        const auto iterator = map.CreateIterator(value);
        while (!iterator->IsAtEnd())
        {
            const RTTI::MapIterator::Entry entry = iterator->Next();
            if (!Write(*plan.Key, entry.Key.Object) || !Write(*plan.Element, entry.Value.Object))
                return false;
        }
        EndBody(body);
        return LeaveLevel();
    }

    bool WritePointer(const WritePlan& plan, void* value)
    {
        const RTTI::TypedPtr pointee = RTTI::gGetPointer(*plan.Type).Get(value);
        if (pointee.Object == nullptr)
        {
            mStream.WriteString(cNullName);
            return true;
        }
        return EnterLevel(plan) && WriteNamed(*pointee.Type, pointee.Object) && LeaveLevel();
    }

    static constexpr std::size_t cSlack = 1024;

    Utility::OutputMemoryStream& mStream;
    Schema& mSchema;
    Utility::Result& mResult;
    BinaryWritePlanner mPlanner;
    std::unordered_map<const RTTI::TypeHandle*, const WritePlan*> mNamedPlans;
    const WritePlan* mLastNamed = nullptr;
    int mDepth = 0;
};

bool gRenderSchema(Schema& schema, std::string& text, Utility::Result& result)
{
    return gWriteJson({&schema}, text, result);
}

/// Replaces the schema text that `stream` opens with by another one, and moves what is behind it.
void gReplaceSchema(Utility::OutputMemoryStream& stream, std::size_t oldSize, const std::string& text)
{
    const std::size_t begin = cPreambleSize + cLengthSize;
    const std::size_t payloadSize = stream.GetSize() - begin - oldSize;
    assert(text.size() >= oldSize);
    stream.Append(text.size() - oldSize);
    std::memmove(stream.GetBuffer() + begin + text.size(), stream.GetBuffer() + begin + oldSize, payloadSize);
    stream.SetPosition(cPreambleSize);
    stream.WriteString(text);
    stream.SetPosition(stream.GetSize());
}

/// The schema comes first, but classes behind pointers show only while the objects are written. So the one that is
/// known beforehand is written, and replaced in the end if there was more.
bool gWriteContent(
    Utility::OutputMemoryStream& stream, const std::vector<RTTI::Object*>& objects, Utility::Result& result)
{
    Schema schema;
    for (const RTTI::Object* object : objects)
    {
        const RTTI::TypeHandle& type = object->GetType();
        if (RTTI::gGetCompound(type).ClassIndex == -1)
            return gFailUnregistered(type, result);
        schema.AddType(type);
    }
    std::string text;
    if (!gRenderSchema(schema, text, result))
        return false;
    const std::size_t numKnown = schema.Compounds.size();

    stream.Write(cMagic);
    stream.Write(cFormatVersion);
    stream.WriteString(text);
    if (!ObjectWriter{stream, schema, result}.WriteRoots(objects))
        return false;
    if (schema.Compounds.size() == numKnown)
        return true;

    const std::size_t oldSize = text.size();
    if (!gRenderSchema(schema, text, result))
        return false;
    gReplaceSchema(stream, oldSize, text);
    return true;
}

}

bool gWriteBinary(
    Utility::OutputMemoryStream& stream, const std::vector<RTTI::Object*>& objects, Utility::Result& result)
{
    assert(stream.GetSize() == 0);
    if (!gWriteContent(stream, objects, result))
    {
        stream.Clear();
        return false;
    }
    stream.Write(Utility::gXXH64(stream.GetData()));
    return true;
}

bool gStoreBinaryFile(const std::string& path, const Utility::OutputMemoryStream& stream, Utility::Result& result,
    FileSystem::EDurability durability)
{
    FileSystem::FileError error;
    return FileSystem::gReplaceFile(path, stream.GetData(), error, durability) ||
           result.Fail(
               EError::Unspecified, "Unable to open file %s for writing: %s", path.c_str(), error.GetReason().c_str());
}

bool gWriteBinaryFile(const std::string& path, const std::vector<RTTI::Object*>& objects, Utility::Result& result,
    FileSystem::EDurability durability)
{
    Utility::OutputMemoryStream stream;
    return gWriteBinary(stream, objects, result) && gStoreBinaryFile(path, stream, result, durability);
}

}
