#pragma once

#include <cmath>
#include <string>
#include <string_view>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "Quarkspindle/Output.h"

namespace Quarkspindle
{

/// JSON text for standard output, member by member. Numbers read back as the same double.
class Json
{
public:
    explicit Json(Output& output) : mOutput{output} {}

    ~Json()
    {
        Drain();
        mOutput.Write("\n");
    }

    void StartObject() { mWriter.StartObject(); }
    void EndObject()
    {
        mWriter.EndObject();
        Drain();
    }
    void StartArray() { mWriter.StartArray(); }
    void EndArray() { mWriter.EndArray(); }
    void Key(std::string_view key) { mWriter.Key(key.data(), static_cast<rapidjson::SizeType>(key.size())); }

    void Member(std::string_view key, std::string_view value)
    {
        Key(key);
        mWriter.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    }
    void Member(std::string_view key, const std::string& value) { Member(key, std::string_view{value}); }
    void Member(std::string_view key, bool value)
    {
        Key(key);
        mWriter.Bool(value);
    }
    void Member(std::string_view key, double value)
    {
        Key(key);
        // There is no other way to write what is no finite number.
        if (std::isfinite(value))
            mWriter.Double(value);
        else
            mWriter.Null();
    }
    void Member(std::string_view key, int64_t value)
    {
        Key(key);
        mWriter.Int64(value);
    }

private:
    void Drain()
    {
        mOutput.Write({mBuffer.GetString(), mBuffer.GetSize()});
        mBuffer.Clear();
    }

    Output& mOutput;
    rapidjson::StringBuffer mBuffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> mWriter{mBuffer};
};

}
