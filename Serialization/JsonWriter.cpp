#include <cstring>
#include <span>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "Serialization/JsonFormat.h"
#include "Serialization/PrimitiveKind.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/ReadRules.h"
#include "Utility/FileWriter.h"
#include "Utility/Result.h"

namespace Serialization
{

namespace
{

class JsonWriter
{
public:
    JsonWriter(rapidjson::StringBuffer& text, Utility::Result& result) : mWriter{text}, mResult{result} {}

    bool WriteRoots(const std::vector<RTTI::Object*>& objects)
    {
        if (!Check(mWriter.StartObject() && WriteKey("Objects") && mWriter.StartArray(), "Unable to write json start"))
            return false;
        for (RTTI::Object* object : objects)
        {
            const RTTI::TypeHandle& type = object->GetType();
            if (!mWriter.StartObject() || !WriteNamed(type, object) || !mWriter.EndObject())
                return Fail("There was an error serializing object %s to json", type);
        }
        return Check(mWriter.EndArray() && mWriter.EndObject(), "Unable to write json end");
    }

private:
    bool Check(bool condition, const char* message)
    {
        return condition || mResult.FailText(EError::Unspecified, message);
    }

    [[gnu::format(printf, 2, 0)]] bool Fail(const char* format, const RTTI::TypeHandle& type)
    {
        return mResult.Fail(EError::Unspecified, format, type.Info->Name);
    }

    bool WriteKey(std::string_view name)
    {
        return mWriter.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    }

    bool WriteText(std::string_view text)
    {
        return mWriter.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }

    /// The members of an object whose class has to be told.
    bool WriteNamed(const RTTI::TypeHandle& type, void* object)
    {
        return WriteKey("Type") && WriteText(type.GetName()) && WriteProperties(type, object);
    }

    bool WriteProperties(const RTTI::TypeHandle& type, void* object)
    {
        for (const RTTI::Property* property : RTTI::gGetAllProperties(type))
        {
            if (!WriteKey(property->Name) || !WriteValue({property->Type, property->GetAddress(object)}))
                return false;
        }
        return true;
    }

    bool WriteValue(RTTI::TypedPtr value)
    {
        switch (value.Type->GetDataType())
        {
        case RTTI::EDataType::Primitive:
            return WritePrimitive(value);
        case RTTI::EDataType::Enum:
            return WriteText(RTTI::gGetEnumValueName(*value.Type, value)) ||
                   Fail("Error serializing enum %s", *value.Type);
        default:
            break;
        }
        if (mDepth == cMaxNesting)
            return Fail("Objects of type %s are nested too deeply", *value.Type);
        ++mDepth;
        const bool isWritten = WriteNested(value);
        --mDepth;
        return isWritten;
    }

    bool WriteNested(RTTI::TypedPtr value)
    {
        switch (value.Type->GetDataType())
        {
        case RTTI::EDataType::Compound:
            return Check(mWriter.StartObject(), "Error writing compound start") &&
                   WriteProperties(*value.Type, value.Object) &&
                   Check(mWriter.EndObject(), "Error writing compound end");
        case RTTI::EDataType::Pointer:
            return Check(mWriter.StartObject(), "Error writing compound start") && WritePointee(value) &&
                   Check(mWriter.EndObject(), "Error writing compound end");
        case RTTI::EDataType::Array:
            return Check(mWriter.StartArray(), "Error writing array start") && WriteElements(value) &&
                   Check(mWriter.EndArray(), "Error writing array end");
        case RTTI::EDataType::Map:
            return Check(mWriter.StartArray(), "Error writing map start") && WriteEntries(value) &&
                   Check(mWriter.EndArray(), "Error writing map end");
        default:
            return Check(false, "Unknown RTTI type encountered");
        }
    }

    bool WritePointee(RTTI::TypedPtr pointer)
    {
        const RTTI::TypedPtr pointee = RTTI::gGetPointer(*pointer.Type).Get(pointer.Object);
        if (pointee.Object == nullptr)
            return true;
        if (pointee.Type->GetDataType() == RTTI::EDataType::Compound)
            return WriteNamed(*pointee.Type, pointee.Object);
        return WriteKey("Value") && WriteValue(pointee);
    }

    bool WriteElements(RTTI::TypedPtr value)
    {
        const RTTI::ArrayInfo& array = RTTI::gGetArray(*value.Type);
        const int32_t count = array.Size(value.Object);
        for (int32_t i = 0; i < count; ++i)
        {
            if (!WriteValue({array.Element, array.At(value.Object, i)}))
                return false;
        }
        return count >= 0 || Fail("Array of type %s is too large", *value.Type);
    }

    bool WriteEntries(RTTI::TypedPtr value)
    {
        const auto iterator = RTTI::gGetMap(*value.Type).CreateIterator(value.Object);
        while (!iterator->IsAtEnd())
        {
            const RTTI::MapIterator::Entry entry = iterator->Next();
            if (!Check(mWriter.StartObject(), "Error writing map kvp start") || !WriteKey("Key") ||
                !WriteValue(entry.Key) || !WriteKey("Value") || !WriteValue(entry.Value) ||
                !Check(mWriter.EndObject(), "Error writing map kvp end"))
                return false;
        }
        return true;
    }

    bool WritePrimitive(RTTI::TypedPtr value)
    {
        const EPrimitive kind = gGetPrimitiveKind(*value.Type);
        if (kind == EPrimitive::Unknown)
            return Check(false, "Unknown primitive type");
        return WritePrimitive(kind, value) || Fail("Error serializing primitive %s", *value.Type);
    }

    bool WritePrimitive(EPrimitive kind, RTTI::TypedPtr value)
    {
        switch (kind)
        {
        case EPrimitive::Bool:
            return mWriter.Bool(*static_cast<const bool*>(value.Object));
        case EPrimitive::Float:
            return mWriter.Double(static_cast<double>(*static_cast<const float*>(value.Object)));
        case EPrimitive::Double:
            return mWriter.Double(*static_cast<const double*>(value.Object));
        case EPrimitive::String:
            return WriteText(*static_cast<const std::string*>(value.Object));
        default:
            break;
        }
        const uint64_t integer =
            gLoadInteger(value.Object, static_cast<std::size_t>(value.Type->Info->Size), gIsSigned(kind));
        return gIsSigned(kind) ? mWriter.Int64(static_cast<int64_t>(integer)) : mWriter.Uint64(integer);
    }

    rapidjson::PrettyWriter<rapidjson::StringBuffer> mWriter;
    Utility::Result& mResult;
    int mDepth = 0;
};

}

bool gWriteJson(const std::vector<RTTI::Object*>& objects, std::string& text, Utility::Result& result)
{
    rapidjson::StringBuffer buffer;
    if (!JsonWriter{buffer, result}.WriteRoots(objects))
        return false;
    text.assign(buffer.GetString(), buffer.GetSize());
    return true;
}

bool gWriteJsonFile(const std::string& path, const std::vector<RTTI::Object*>& objects, Utility::Result& result)
{
    std::string text;
    if (!gWriteJson(objects, text, result))
        return false;
    text += '\n';
    FileSystem::FileError error;
    return FileSystem::gReplaceFile(path, std::as_bytes(std::span{text}), error) ||
           result.Fail(EError::Unspecified, "Unable to write file %s: %s", path.c_str(), error.GetReason().c_str());
}

}
