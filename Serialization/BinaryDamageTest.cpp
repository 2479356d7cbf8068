#include <array>
#include <random>

#include <gtest/gtest.h>

#include "Serialization/RTTI/Image.h"
#include "Serialization/Testing/Fixture.h"
#include "Utility/Damage.h"

using namespace Serialization;
using namespace Serialization::Testing;

namespace Sample
{

/// One property of each kind that has a length in the file.
class Lengths final : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Lengths>("Sample::Lengths", RTTI::Version{1}, RTTI::Base<RTTI::Object>{},
            RTTI::Field<&Lengths::Text>{"Text"}, RTTI::Field<&Lengths::Numbers>{"Numbers"},
            RTTI::Field<&Lengths::Points>{"Points"}, RTTI::Field<&Lengths::Places>{"Places"},
            RTTI::Field<&Lengths::Next>{"Next"}, RTTI::Field<&Lengths::Optional>{"Optional"});
    }

    std::string Text = "text";
    std::vector<double> Numbers{1, 2};
    std::vector<Point> Points{{1, 2}};
    std::unordered_map<int32_t, Point> Places;
    std::unique_ptr<Object> Next = std::make_unique<Ticket>();
    std::unique_ptr<int32_t> Optional = std::make_unique<int32_t>();

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Lengths>(); }
};

/// Large in memory, and in a file as small as a class can be.
struct Hollow
{
    std::array<double, 200> Cache{};

    static consteval auto sDescribe() { return RTTI::gDescribe<Hollow>("Sample::Hollow", RTTI::Version{1}); }
};

class Hollows final : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Hollows>(
            "Sample::Hollows", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Hollows::Values>{"Values"});
    }

    std::vector<Hollow> Values;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Hollows>(); }
};

}

namespace
{

const char* const cBadChecksum = "5: The buffer is possibly corrupted: CRC check failed";
const char* const cNoBuffer = "3: The buffer is not a Quarkspindle buffer, or it is corrupted";

class BinaryDamage : public testing::Test
{
protected:
    static RTTI::TypeRegistry MakeRegistry()
    {
        RTTI::TypeRegistry registry;
        gRegister<Sample::Lengths, Sample::Hollows, Sample::Ticket, Sample::Circle, Sample::Square, Sample::Link,
            Sample::Everything>(registry, RTTI::gGetOwnerID());
        registry.Finalize();
        return registry;
    }

    /// Reading must end, with success or with one entry, whatever the bytes are.
    void ExpectOutcome(const Bytes& buffer, std::size_t place)
    {
        const auto policy = place % 2 == 0 ? EUnknownTypePolicy::Fail : EUnknownTypePolicy::Skip;
        const ReadOutcome outcome = gRead(buffer, mRegistry, policy);
        EXPECT_NE(outcome.IsRead, outcome.Result.HasErrors()) << "at " << place;
        EXPECT_LE(outcome.Result.GetEntries().size(), 1U) << "at " << place;
    }

    const RTTI::TypeRegistry mRegistry = MakeRegistry();
};

std::size_t gGetPayloadOffset(const Bytes& buffer)
{
    return 16 + gLoad64(buffer, 8);
}

TEST_F(BinaryDamage, EveryFlippedBitIsReported)
{
    Sample::Ticket ticket{7};
    const Bytes whole = gWrite({&ticket});
    Damage::gVisitFlippedBits(whole, [&](const Bytes& damaged, std::size_t bit) {
        const ReadOutcome outcome = gRead(damaged, mRegistry);
        EXPECT_EQ(outcome.GetSummary(), bit < 32 ? cNoBuffer : cBadChecksum) << "bit " << bit;
        EXPECT_TRUE(outcome.Roots.empty());
    });
}

TEST_F(BinaryDamage, EveryTruncationIsReported)
{
    Sample::Ticket ticket{7};
    const Bytes whole = gWrite({&ticket});
    Damage::gVisitTruncations(whole, [&](const Bytes& cut, std::size_t size) {
        EXPECT_EQ(gRead(cut, mRegistry).GetSummary(), size < 8 ? cNoBuffer : cBadChecksum) << size;
        // And with a checksum that fits: nothing was there before that could be missed.
        if (size >= 16)
        {
            EXPECT_TRUE(gRead(gSealed(cut), mRegistry).Result.HasErrors()) << size;
        }
    });
}

TEST_F(BinaryDamage, FormatVersionDecidesTheChecksum)
{
    Sample::Ticket ticket{7};
    const Bytes whole = gWrite({&ticket});
    const std::size_t size = whole.size() - 8;
    for (const uint32_t version : {0U, 1U, 2U, 3U, 0xFFFFFFFFU})
    {
        Bytes buffer = whole;
        gStore(buffer, 4, version);
        Bytes withCRC = buffer;
        gStore(withCRC, size, gSlowCRC64(buffer.data(), size));
        EXPECT_EQ(gRead(gSealed(buffer), mRegistry).GetSummary(), version >= 2 ? "ok" : cBadChecksum) << version;
        EXPECT_EQ(gRead(withCRC, mRegistry).GetSummary(), version < 2 ? "ok" : cBadChecksum) << version;
    }
}

// Lengths that no writer would have written, behind a checksum that is right.
TEST_F(BinaryDamage, LengthsAreNotBelieved)
{
    Sample::Lengths lengths;
    lengths.Places = {{1, {}}, {2, {}}};
    const Bytes whole = gWrite({&lengths});
    ASSERT_EQ(gRead(whole, mRegistry).GetSummary(), "ok");
    const std::size_t payload = gGetPayloadOffset(whole);
    // Offsets from the root count on.
    const std::size_t body = 8 + 8 + 15;
    const std::size_t text = body + 8;
    const std::size_t numbers = text + 8 + 4;
    const std::size_t points = numbers + 16 + 16;
    const std::size_t places = points + 16 + 24;
    const std::size_t next = places + 16 + 2 * 28;
    const std::size_t optional = next + 8 + 14 + 8 + 4;
    ASSERT_EQ(payload + optional + 8 + 7 + 4 + 8, whole.size());

    const char* const tooEarly = "the data ends too early";
    const char* const tooMany = "there cannot be that many values";
    const char* const longBody = "a body is longer than its values";
    const char* const longText = "a text is longer than the data";
    const char* const bodyBeyond = "a body is longer than the data";
    const uint64_t huge = ~uint64_t{0};
    struct Row
    {
        std::size_t Offset;
        uint64_t Value;
        const char* Reason;
    };
    const Row rows[] = {
        {0, huge, tooMany},
        {0, 2, tooEarly},
        {0, 100, tooMany},
        {0, 0, "there is data behind the last object"},
        {8, huge, longText},
        {8, 500, longText},
        {body, huge, bodyBeyond},
        {body, 0, tooEarly},
        {body, whole.size(), bodyBeyond},
        {text, huge - 7, longText},
        {text, uint64_t{1} << 31, longText},
        {numbers, huge, bodyBeyond},
        {numbers, 7, tooEarly},
        {numbers, 16, tooMany},
        {numbers, 32, longBody},
        {numbers + 8, huge, tooMany},
        {numbers + 8, (uint64_t{1} << 61) + 2, tooMany},
        {numbers + 8, 1, longBody},
        {points, 16, bodyBeyond},
        {points + 8, 0, longBody},
        {points + 8, uint64_t{1} << 32, tooMany},
        {points + 16, 15, tooEarly},
        {points + 16, 17, bodyBeyond},
        {places + 8, huge, tooMany},
        {places + 8, 3, tooEarly},
        {places + 8, 1, longBody},
        {next, 500, longText},
        {optional, 500, longText},
        {optional, 6, "the value behind a pointer is not of type int32_t"},
    };
    for (const Row& row : rows)
    {
        Bytes damaged = whole;
        gStore(damaged, payload + row.Offset, row.Value);
        const std::string summary = gRead(gSealed(damaged), mRegistry).GetSummary();
        EXPECT_TRUE(summary.starts_with("5: The buffer is corrupted at offset ") && summary.ends_with(row.Reason))
            << "offset " << row.Offset << " value " << row.Value << ": " << summary;
    }

    Bytes twice = whole;
    for (std::size_t i = 0; i < 4; ++i)
        twice[payload + places + 16 + i] = twice[payload + places + 16 + 28 + i];
    EXPECT_TRUE(gRead(gSealed(twice), mRegistry)
                    .GetSummary()
                    .ends_with("a key occurs twice in type Map_int32_t_To_Sample::Point"));

    Bytes nullRoot = whole;
    gStore<uint64_t>(nullRoot, payload + 8, 4);
    for (std::size_t i = 0; i < 4; ++i)
        nullRoot[payload + 16 + i] = static_cast<std::byte>("null"[i]);
    EXPECT_EQ(gRead(gSealed(nullRoot), mRegistry).GetSummary(), "5: Encountered null root object");
}

// The text of the schema is changed in place, so that lengths stay right.
TEST_F(BinaryDamage, SchemasAreNotBelieved)
{
    Sample::Lengths lengths;
    lengths.Places = {{1, {}}, {2, {}}};
    const Bytes whole = gWrite({&lengths});
    const std::size_t payload = gGetPayloadOffset(whole);
    struct Row
    {
        std::string Old;
        std::string New;
        const char* Reason;
    };
    const Row rows[] = {
        {R"("Key": "Sample::Lengths")", R"("Key": "Sample::LengthX")", "no entry for type Sample::Lengths"},
        {R"("Key": "Sample::Point")", R"("Key": "Sample::PoinX")", "no entry for type Sample::Point"},
        {R"("Key": "Array_double")", R"("Key": "Array_doublX")", "no entry for type Array_double"},
        {R"("Key": "Map_int32_t_To)", R"("Key": "Map_int32_X_To)", "no entry for type Map_int32_t_To_Sample::Point"},
        {R"("Key": "UniquePtr_int32_t")", R"("Key": "UniquePtr_int32_X")", "no entry for type UniquePtr_int32_t"},
        {R"("Objects")", R"("Object_")", "Unable to find required 'Objects' field"},
        {R"("Serialization::Schema")", R"("Serialization::SchemX")",
            "Unknown object type Serialization::SchemX encountered."},
        {R"("Type": "Serialization::Schema",)", R"("Type": "Sample::Ticket"       ,)", "The schema was not found"},
        {R"({)", R"(})", "Error parsing json: Invalid value. (line: 1)"},
    };
    for (const Row& row : rows)
    {
        Bytes damaged = whole;
        std::string schema{reinterpret_cast<const char*>(whole.data()) + 16, payload - 16};
        ASSERT_EQ(row.Old.size(), row.New.size()) << row.Old;
        ASSERT_NE(schema.find(row.Old), std::string::npos) << row.Old;
        schema.replace(schema.find(row.Old), row.Old.size(), row.New);
        for (std::size_t i = 0; i < schema.size(); ++i)
            damaged[16 + i] = static_cast<std::byte>(schema[i]);
        const std::string summary = gRead(gSealed(damaged), mRegistry).GetSummary();
        EXPECT_TRUE(summary.starts_with("5: ") && summary.ends_with(row.Reason)) << row.New << " gives " << summary;
    }
    for (const uint64_t length : {uint64_t{payload}, ~uint64_t{0}, uint64_t{1} << 63})
    {
        Bytes damaged = whole;
        gStore(damaged, 8, length + 1000);
        EXPECT_EQ(gRead(gSealed(damaged), mRegistry).GetSummary().substr(0, 3), "5: ");
    }
}

// A chain longer than any that could have been written, each object in the body of the one before it.
TEST_F(BinaryDamage, NestingIsBounded)
{
    const auto pack = [](uint64_t value) {
        std::string text;
        for (int i = 0; i < 8; ++i)
            text += static_cast<char>(value >> (8 * i));
        return text;
    };
    const std::string name = "Sample::Link";
    std::string object = pack(12) + pack(4) + "null";
    for (int i = 0; i < 10'000; ++i)
    {
        const std::string content = pack(name.size()) + name + object;
        object = pack(content.size()) + content;
    }
    Sample::Link link;
    Bytes deep = gWrite({&link});
    deep.resize(gGetPayloadOffset(deep));
    for (const char character : pack(1) + pack(name.size()) + name + object)
        deep.push_back(static_cast<std::byte>(character));
    deep.resize(deep.size() + 8);
    EXPECT_TRUE(gRead(gSealed(deep), mRegistry).GetSummary().ends_with("values are nested too deeply"));
}

TEST_F(BinaryDamage, MemoryIsBoundedByTheSizeOfTheBuffer)
{
    Sample::Hollows hollows;
    hollows.Values.resize(10'000);
    EXPECT_EQ(gRead(gWrite({&hollows}), mRegistry).GetSummary(), "ok") << "16 MB are granted to any buffer";
    hollows.Values.resize(11'000);
    EXPECT_TRUE(gRead(gWrite({&hollows}), mRegistry)
                    .GetSummary()
                    .ends_with("there are too many elements for type Array_Sample::Hollow"));
}

TEST_F(BinaryDamage, NoValueAtAnyPlaceDoesHarm)
{
    const auto made = gMakeEverything();
    const Bytes whole = gWrite({made.get()});
    const std::array<uint64_t, 5> values{0, 1, 0xFFFF'FFFF'FFFF'FFFF, 0x8000'0000, 0x7FFF'FFFF'FFFF'FFF0};
    for (std::size_t place = gGetPayloadOffset(whole); place + 16 <= whole.size(); ++place)
    {
        Bytes damaged = whole;
        gStore(damaged, place, values[place % values.size()]);
        ExpectOutcome(gSealed(damaged), place);
    }
}

TEST_F(BinaryDamage, NoChangeOfTheSchemaDoesHarm)
{
    const auto made = gMakeEverything();
    const Bytes whole = gWrite({made.get()});
    std::mt19937 random{20'240'501};
    for (int i = 0; i < 1500; ++i)
    {
        Bytes damaged = whole;
        const std::size_t place = 16 + random() % (gGetPayloadOffset(whole) - 16);
        // Mostly digits and letters, so that the text often stays JSON.
        damaged[place] = i % 3 == 0 ? static_cast<std::byte>(random() & 0xFF)
                                    : static_cast<std::byte>("0123459aeTS_"[random() % 12]);
        ExpectOutcome(gSealed(damaged), place);
    }
}

}
