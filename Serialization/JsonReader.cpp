#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <utility>

#include <rapidjson/document.h>

#include "Serialization/JsonFormat.h"
#include "Serialization/JsonParser.h"
#include "Serialization/PrimitiveKind.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/ReadRules.h"
#include "Utility/FileSystem.h"
#include "Utility/Result.h"

namespace Serialization
{

namespace
{

using Json = rapidjson::Value;

std::string_view gGetText(const Json& json)
{
    return {json.GetString(), json.GetStringLength()};
}

/// The member of an object; null when there is none, or when `json` is no object.
const Json* gFindMember(const Json& json, std::string_view name)
{
    if (!json.IsObject())
        return nullptr;
    const auto found = json.FindMember(Json{rapidjson::StringRef(name.data(), name.size())});
    return found == json.MemberEnd() ? nullptr : &found->value;
}

/// A member that has to be a string, such as the name of a type.
const Json* gFindTextMember(const Json& json, std::string_view name)
{
    const Json* const member = gFindMember(json, name);
    return member != nullptr && member->IsString() ? member : nullptr;
}

/// Maps the values of one document to objects. Its depth is that of the document, which the parser bounds.
class JsonReader
{
public:
    JsonReader(const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory, std::size_t textSize,
        Utility::Result& result)
        : mRegistry{registry},
          mFactory{factory},
          mAllocationLimit{gGetAllocationLimit(textSize)},
          mResult{result}
    {}

    bool ReadRoots(const Json& document, std::vector<std::unique_ptr<RTTI::Object>>& objects)
    {
        const Json* const roots = gFindMember(document, "Objects");
        if (roots == nullptr)
            return Corrupt("Unable to find required 'Objects' field");
        if (!roots->IsArray())
            return Corrupt("'Objects' field must be an array");
        for (const Json& root : roots->GetArray())
        {
            std::unique_ptr<RTTI::Object> object;
            if (!ReadRoot(root, object))
                return false;
            objects.push_back(std::move(object));
        }
        return true;
    }

private:
    bool Corrupt(const char* message) { return mResult.FailText(EError::CorruptData, message); }

    [[gnu::format(printf, 2, 0)]] bool CorruptNamed(const char* format, std::string_view name)
    {
        return mResult.Fail(EError::CorruptData, format, std::string{name}.c_str());
    }

    bool ReadRoot(const Json& json, std::unique_ptr<RTTI::Object>& root)
    {
        const Json* const name = gFindTextMember(json, "Type");
        if (name == nullptr)
            return Corrupt("Unable to find required 'Type' property for object");
        RTTI::UniqueTypedPtr object;
        if (!ReadNamed(gGetText(*name), json, object))
            return false;
        if (!object || !RTTI::gIsDerivedFrom(*object.GetType(), RTTI::gTypeOf<RTTI::Object>()))
            return CorruptNamed("Failed to instantiate object of type %s.", gGetText(*name));
        root.reset(static_cast<RTTI::Object*>(object.Release()));
        return true;
    }

    /// Makes and reads an object of a class by its name. `object` stays empty when nothing can make one.
    bool ReadNamed(std::string_view name, const Json& json, RTTI::UniqueTypedPtr& object)
    {
        const RTTI::TypeHandle* const type = mRegistry.FindType(name);
        if (type == nullptr)
            return CorruptNamed("Unknown object type %s encountered.", name);
        if (type->GetDataType() != RTTI::EDataType::Compound)
            return CorruptNamed("Root object %s is not a compound.", name);
        RTTI::UniqueTypedPtr created = mFactory.Create(type);
        if (!created)
            return true;
        if (!ReadCompound(json, *type, created.Get()))
            return false;
        object = std::move(created);
        return true;
    }

    bool ReadValue(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        const RTTI::EDataType kind = type.GetDataType();
        if (json.IsObject())
        {
            if (kind == RTTI::EDataType::Compound)
                return ReadCompound(json, type, target);
            if (kind == RTTI::EDataType::Pointer)
                return ReadPointer(json, type, target);
            return CorruptNamed("Expected compound or pointer type for %s", type.GetName());
        }
        if (json.IsArray())
        {
            if (kind == RTTI::EDataType::Array)
                return ReadArray(json, type, target);
            if (kind == RTTI::EDataType::Map)
                return ReadMap(json, type, target);
            return Corrupt("Expected array or map type");
        }
        if (kind == RTTI::EDataType::Primitive)
            return ReadPrimitive(json, type, target);
        if (kind == RTTI::EDataType::Enum)
            return ReadEnum(json, type, target);
        return CorruptNamed("Expected primitive or enum type for %s", type.GetName());
    }

    bool ReadCompound(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        for (const RTTI::Property* property : GetProperties(type))
        {
            const Json* const member = gFindMember(json, property->Name);
            if (member != nullptr && !ReadValue(*member, *property->Type, property->GetAddress(target)))
                return false;
        }
        return true;
    }

    /// An object without "Type", or "Value", is how a null pointer is written.
    bool ReadPointer(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        const RTTI::PointerInfo& pointer = RTTI::gGetPointer(type);
        const bool isCompound = pointer.Pointee->GetDataType() == RTTI::EDataType::Compound;
        const Json* const member = gFindMember(json, isCompound ? "Type" : "Value");
        if (member == nullptr)
        {
            pointer.Reset(target, nullptr);
            return true;
        }
        return isCompound ? ReadPointee(*member, json, pointer, target) : ReadPlainPointee(*member, pointer, target);
    }

    bool ReadPointee(const Json& name, const Json& json, const RTTI::PointerInfo& pointer, void* target)
    {
        if (!name.IsString())
            return Corrupt("Unable to find required 'Type' property for object");
        const std::string typeName{gGetText(name)};
        const RTTI::TypeHandle* const type = mRegistry.FindType(typeName);
        if (type == nullptr)
        {
            pointer.Reset(target, nullptr);
            return true;
        }
        RTTI::UniqueTypedPtr object;
        if (!ReadNamed(typeName, json, object))
            return false;
        if (!object)
            return CorruptNamed("Failed to create object of type %s", typeName);
        if (!gFitsPointer(*type, *pointer.Pointee))
            return mResult.Fail(EError::Incompatible,
                "Compatibility issue: object of type %s used to be derived from %s but isn't anymore", typeName.c_str(),
                pointer.Pointee->Info->Name);
        pointer.Reset(target, object.Release());
        return true;
    }

    bool ReadPlainPointee(const Json& json, const RTTI::PointerInfo& pointer, void* target)
    {
        RTTI::UniqueTypedPtr object;
        if (!Create(*pointer.Pointee, object) || !ReadValue(json, *pointer.Pointee, object.Get()))
            return false;
        pointer.Reset(target, object.Release());
        return true;
    }

    bool ReadArray(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        const RTTI::ArrayInfo& array = RTTI::gGetArray(type);
        const auto elementSize = static_cast<std::size_t>(array.Element->Info->Size);
        if (json.Size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max()) ||
            json.Size() > mAllocationLimit / elementSize)
            return CorruptNamed("Array of type %s is too large", type.GetName());
        const auto count = static_cast<int32_t>(json.Size());
        array.Resize(target, count);
        for (int32_t i = 0; i < count; ++i)
        {
            if (!ReadValue(json[static_cast<rapidjson::SizeType>(i)], *array.Element, array.At(target, i)))
                return false;
        }
        return true;
    }

    bool ReadMap(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        const RTTI::MapInfo& map = RTTI::gGetMap(type);
        map.Reserve(target, static_cast<int32_t>(std::min<std::size_t>(json.Size(), cMaxReservedEntries)));
        for (const Json& entry : json.GetArray())
        {
            const Json* const key = gFindMember(entry, "Key");
            if (key == nullptr)
                return Corrupt("Missing Key property for map element");
            const Json* const value = gFindMember(entry, "Value");
            if (value == nullptr)
                return Corrupt("Missing Value property for map element");
            RTTI::UniqueTypedPtr keyObject;
            if (!Create(*map.Key, keyObject) || !ReadValue(*key, *map.Key, keyObject.Get()) ||
                !ReadValue(*value, *map.Value, map.Get(target, keyObject.Get())))
                return false;
        }
        return true;
    }

    bool ReadEnum(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        if (!json.IsString())
            return CorruptNamed("Expected enum type for %s", type.GetName());
        if (!RTTI::gSetEnumValueByName(type, {&type, target}, gGetText(json)))
            return CorruptNamed("Invalid value for enum %s", type.GetName());
        return true;
    }

    /// An integer for a `float`, a `double` or a `bool` is passed over without a word: that is the form's rule.
    bool ReadPrimitive(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        const EPrimitive kind = gGetPrimitiveKind(type);
        const bool isFloating = kind == EPrimitive::Float || kind == EPrimitive::Double;
        if (json.IsNull())
            return true;
        if (json.IsBool() && kind == EPrimitive::Bool)
            *static_cast<bool*>(target) = json.GetBool();
        else if (json.IsString() && kind == EPrimitive::String)
            static_cast<std::string*>(target)->assign(gGetText(json));
        else if (json.IsDouble() && kind == EPrimitive::Float)
            *static_cast<float*>(target) = static_cast<float>(json.GetDouble());
        else if (json.IsDouble() && kind == EPrimitive::Double)
            *static_cast<double*>(target) = json.GetDouble();
        else if (sIsInteger(json) && gIsInteger(kind))
            sStoreInteger(json, type, target);
        else if (!(sIsInteger(json) && (isFloating || kind == EPrimitive::Bool)))
            return Corrupt("Type is not a primitive type.");
        return true;
    }

    static bool sIsInteger(const Json& json)
    {
        return json.IsInt() || json.IsUint() || json.IsInt64() || json.IsUint64();
    }

    /// Cuts the number to the width of the target.
    static void sStoreInteger(const Json& json, const RTTI::TypeHandle& type, void* target)
    {
        static_assert(std::endian::native == std::endian::little);
        const uint64_t bits = json.IsInt64() ? static_cast<uint64_t>(json.GetInt64()) : json.GetUint64();
        std::memcpy(target, &bits, static_cast<std::size_t>(type.Info->Size));
    }

    bool Create(const RTTI::TypeHandle& type, RTTI::UniqueTypedPtr& object)
    {
        object = mFactory.Create(&type);
        return object || CorruptNamed("Failed to create object of type %s", type.GetName());
    }

    const std::vector<const RTTI::Property*>& GetProperties(const RTTI::TypeHandle& type)
    {
        const auto [position, isNew] = mProperties.try_emplace(&type);
        if (isNew)
            position->second = RTTI::gGetAllProperties(type);
        return position->second;
    }

    static constexpr std::size_t cMaxReservedEntries = 1 << 16;

    const RTTI::TypeRegistry& mRegistry;
    const RTTI::ObjectFactory& mFactory;
    const std::size_t mAllocationLimit;
    Utility::Result& mResult;
    std::unordered_map<const RTTI::TypeHandle*, std::vector<const RTTI::Property*>> mProperties;
};

}

bool gReadJson(std::string_view text, const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory,
    std::vector<std::unique_ptr<RTTI::Object>>& objects, Utility::Result& result)
{
    rapidjson::Document document;
    return gParseJson(text, document, result) &&
           JsonReader{registry, factory, text.size(), result}.ReadRoots(document, objects);
}

bool gReadJsonFile(const std::string& path, const RTTI::TypeRegistry& registry, const RTTI::ObjectFactory& factory,
    std::vector<std::unique_ptr<RTTI::Object>>& objects, Utility::Result& result)
{
    const Utility::ResultContext context = result.PushContext(path);
    std::string text;
    return result.Check(
               FileSystem::gReadTextFile(path, text), EError::Unspecified, "Could not read file %s", path.c_str()) &&
           gReadJson(text, registry, factory, objects, result);
}

}
