#include "Serialization/Testing/ContainerWalker.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include <rapidjson/document.h>
#include <xxhash.h>

namespace Serialization::Testing
{

namespace
{

using Json = rapidjson::Value;

const char* const cPrimitives[] = {"uint8_t", "int8_t", "uint16_t", "int16_t", "uint32_t", "int32_t", "uint64_t",
    "int64_t", "bool", "float", "double", "std::string"};

template <class T>
std::string gToText(T value)
{
    return std::to_string(value);
}

class Walker
{
public:
    explicit Walker(const Bytes& buffer) : mBuffer{buffer} {}

    std::string Walk()
    {
        Require(mBuffer.size() >= 32, "too small");
        mEnd = mBuffer.size() - 8;
        Require(gLoad64(mBuffer, mEnd) == XXH64(mBuffer.data(), mEnd, 0), "checksum");
        Require(Take<uint32_t>() == 0xF450C25D, "magic");
        Require(Take<uint32_t>() == 2, "version");
        ReadSchema(TakeText());
        std::string text;
        const auto numRoots = Take<uint64_t>();
        for (uint64_t i = 0; i < numRoots; ++i)
        {
            const std::string name = TakeText();
            text += name + WalkCompound(name) + "\n";
        }
        Require(mPosition == mEnd, "bytes behind the last root");
        return text;
    }

private:
    void Require(bool condition, const std::string& what) const
    {
        if (!condition)
            throw std::runtime_error{what + " at " + std::to_string(mPosition)};
    }

    template <class T>
    T Take()
    {
        Require(mPosition + sizeof(T) <= mEnd, "end of data");
        T value;
        std::memcpy(&value, mBuffer.data() + mPosition, sizeof(T));
        mPosition += sizeof(T);
        return value;
    }

    std::string TakeText()
    {
        const auto length = Take<uint64_t>();
        Require(length <= mEnd - mPosition, "length of a text");
        std::string text(reinterpret_cast<const char*>(mBuffer.data()) + mPosition, length);
        mPosition += length;
        return text;
    }

    void ReadSchema(const std::string& text)
    {
        mSchema.Parse(text.c_str());
        Require(!mSchema.HasParseError() && mSchema.IsObject() && mSchema.MemberCount() == 1, "schema text");
        const Json& roots = mSchema["Objects"];
        Require(roots.IsArray() && roots.Size() == 1, "schema roots");
        const std::vector<std::string> expected{"Type", "Compounds", "Enums", "Pointers", "Arrays", "Maps"};
        std::vector<std::string> members;
        for (const auto& member : roots[0].GetObject())
            members.emplace_back(member.name.GetString());
        Require(members == expected, "schema members");
        for (std::size_t i = 1; i < members.size(); ++i)
        {
            for (const Json& entry : roots[0][members[i].c_str()].GetArray())
            {
                // The kinds are named in the plural; their classes are not.
                const std::string kind = members[i].substr(0, members[i].size() - 1);
                Require(entry["Value"]["Type"].GetString() == "Serialization::" + kind + "Schema", "schema record");
                mRecords[kind][entry["Key"].GetString()] = &entry["Value"];
            }
        }
    }

    const Json& Find(const std::string& kind, const std::string& name)
    {
        const auto found = mRecords[kind].find(name);
        Require(found != mRecords[kind].end(), "no " + kind + " " + name + " in the schema");
        return *found->second;
    }

    template <class F>
    std::string WalkBody(F walk)
    {
        const auto size = Take<uint64_t>();
        Require(size <= mEnd - mPosition, "body size");
        const std::size_t end = mPosition + size;
        std::string text = walk();
        Require(mPosition == end, "end of a body");
        return text;
    }

    std::string WalkCompound(const std::string& name)
    {
        const Json& record = Find("Compound", name);
        return WalkBody([&] {
            std::string text = "{";
            for (const Json& property : record["Properties"].GetArray())
                text += std::string(property["Name"].GetString()) + "=" + WalkValue(property["Type"]) + ";";
            return text + "}";
        });
    }

    std::string WalkValue(const Json& type)
    {
        const std::string name = type["TypeName"].GetString();
        switch (type["DataType"].GetUint())
        {
        case 0:
            return WalkCompound(name);
        case 1:
            return WalkPrimitive(name);
        case 2:
            return WalkPrimitive(Find("Enum", name)["SizeType"]["TypeName"].GetString());
        case 3:
            return WalkBody([&] {
                std::string text = "[";
                const Json& element = Find("Array", name)["EmbeddedType"];
                for (auto count = Take<uint64_t>(); count > 0; --count)
                    text += WalkValue(element) + ",";
                return text + "]";
            });
        case 4:
            return WalkBody([&] {
                const Json& record = Find("Map", name);
                std::vector<std::string> entries;
                for (auto count = Take<uint64_t>(); count > 0; --count)
                {
                    const std::string key = WalkValue(record["KeyType"]);
                    entries.push_back(key + ":" + WalkValue(record["ValueType"]) + ",");
                }
                std::sort(entries.begin(), entries.end());
                std::string text = "<";
                for (const std::string& entry : entries)
                    text += entry;
                return text + ">";
            });
        case 5:
            return WalkPointer(Find("Pointer", name)["PointeeType"]);
        default:
            Require(false, "kind of type");
            return {};
        }
    }

    std::string WalkPointer(const Json& pointee)
    {
        const std::string name = TakeText();
        if (name == "null")
            return name;
        return "*" + name + (pointee["DataType"].GetUint() == 0 ? WalkCompound(name) : WalkValue(pointee));
    }

    std::string WalkPrimitive(const std::string& name)
    {
        const auto kind = std::find(std::begin(cPrimitives), std::end(cPrimitives), name) - std::begin(cPrimitives);
        switch (kind)
        {
        case 0:
            return gToText(Take<uint8_t>());
        case 1:
            return gToText(Take<int8_t>());
        case 2:
            return gToText(Take<uint16_t>());
        case 3:
            return gToText(Take<int16_t>());
        case 4:
            return gToText(Take<uint32_t>());
        case 5:
            return gToText(Take<int32_t>());
        case 6:
            return gToText(Take<uint64_t>());
        case 7:
            return gToText(Take<int64_t>());
        case 8:
            return gToText(Take<uint8_t>());
        case 9:
            return gToText(Take<float>());
        case 10:
            return gToText(Take<double>());
        case 11:
            return "'" + TakeText() + "'";
        default:
            Require(false, "primitive " + name);
            return {};
        }
    }

    const Bytes& mBuffer;
    std::size_t mPosition = 0;
    std::size_t mEnd = 0;
    rapidjson::Document mSchema;
    std::map<std::string, std::map<std::string, const Json*>> mRecords;
};

}

std::string gWalkContainer(const Bytes& buffer)
{
    try
    {
        return Walker{buffer}.Walk();
    }
    catch (const std::exception& error)
    {
        return std::string{"error: "} + error.what();
    }
}

}
