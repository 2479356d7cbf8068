#include "Serialization/JsonFormat.h"

#include <cstring>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "Serialization/RootObjects.h"
#include "Serialization/Testing/Fixture.h"
#include "Utility/FailureSweep.h"
#include "Utility/TemporaryFolder.h"

using namespace Serialization;
using namespace Serialization::Testing;

namespace
{

class JsonFormat : public testing::Test
{
protected:
    static std::string Write(RTTI::Object& object)
    {
        std::string text;
        Utility::Result result;
        EXPECT_TRUE(gWriteJson({&object}, text, result)) << result.ToString();
        return text;
    }

    /// One root of the class `Sample::Everything` with these members.
    static std::string Wrap(const std::string& members)
    {
        return R"({"Objects": [{"Type": "Sample::Everything", )" + members + "}]}";
    }

    const RTTI::TypeRegistry mRegistry = gMakeSampleRegistry();
    const TemporaryFolder mFolder;
};

TEST_F(JsonFormat, RoundTripKeepsEveryKindOfValue)
{
    const auto made = gMakeEverything();
    const std::string text = Write(*made);
    ReadOutcome outcome = gReadText(text, mRegistry);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    ASSERT_EQ(outcome.Roots.size(), 1U);
    gExpectEverything(static_cast<Sample::Everything&>(*outcome.Roots[0]));
    // Maps may come back in another order, so only a form without them has to be the same.
    Sample::Circle circle;
    circle.Label = "\x01";
    EXPECT_EQ(Write(*gReadText(Write(circle), mRegistry).Roots.at(0)), Write(circle));
}

TEST_F(JsonFormat, LayoutIsIndentedWithBasesFirst)
{
    Sample::Circle circle;
    circle.Label = "c";
    circle.Radius = 1;
    circle.Center = {0.1, -2};
    EXPECT_EQ(Write(circle), R"({
    "Objects": [
        {
            "Type": "Sample::Circle",
            "Label": "c",
            "Radius": 1.0,
            "Center": {
                "X": 0.1,
                "Y": -2.0
            }
        }
    ]
})");
    Sample::Link link;
    EXPECT_NE(Write(link).find("\"Next\": {}"), std::string::npos) << "null";
    link.Next = std::make_unique<Sample::Ticket>(3);
    EXPECT_NE(
        Write(link).find("\"Next\": {\n                \"Type\": \"Sample::Ticket\",\n                \"Number\": 3"),
        std::string::npos);
    Sample::Everything everything;
    everything.Color = static_cast<Sample::EColor>(99);
    everything.Counts = {{"k", 1}};
    everything.Optional = std::make_unique<int32_t>(6);
    const std::string text = Write(everything);
    EXPECT_NE(text.find("\"Color\": \"<invalid enum value>\""), std::string::npos);
    EXPECT_NE(text.find("\"Key\": \"k\",\n                    \"Value\": 1"), std::string::npos);
    EXPECT_NE(text.find("\"Optional\": {\n                \"Value\": 6\n            }"), std::string::npos);
}

// What a value does to a property that holds something already.
TEST_F(JsonFormat, ValuesOfEachKind)
{
    struct Row
    {
        const char* Member;
        const char* Outcome; ///< the root as text, or the failure
    };
    const char* const notPrimitive = "5: Type is not a primitive type.";
    const Row rows[] = {
        {R"("Int32": 5)", "5 0 0.000000 0 ''"},
        {R"("Int32": 4294967295)", "-1 0 0.000000 0 ''"},
        {R"("UInt8": 511)", "0 255 0.000000 0 ''"},
        {R"("UInt8": -1)", "0 255 0.000000 0 ''"},
        {R"("UInt8": 18446744073709551615)", "0 255 0.000000 0 ''"},
        {R"("Int32": null)", "0 0 0.000000 0 ''"},
        {R"("Double": 1.0)", "0 0 1.000000 0 ''"},
        {R"("Double": 1e2)", "0 0 100.000000 0 ''"},
        {R"("Double": 1)", "0 0 0.000000 0 ''"},
        {R"("Bool": true)", "0 0 0.000000 1 ''"},
        {R"("Bool": 1)", "0 0 0.000000 0 ''"},
        {R"("Text": "a\u00fc\u0000")", "0 0 0.000000 0 'a\xC3\xBC"},
        {R"("Text": null)", "0 0 0.000000 0 ''"},
        {R"("text": "other case", "More": {"a": []})", "0 0 0.000000 0 ''"},
        {R"("Text": 1)", notPrimitive},
        {R"("Text": true)", notPrimitive},
        {R"("Int32": "1")", notPrimitive},
        {R"("Int32": 1.5)", notPrimitive},
        {R"("Int32": 18446744073709551616)", notPrimitive},
        {R"("UInt64": true)", notPrimitive},
        {R"("Bool": 0.5)", notPrimitive},
        {R"("Bool": "true")", notPrimitive},
    };
    for (const Row& row : rows)
    {
        const ReadOutcome outcome = gReadText(Wrap(row.Member), mRegistry);
        std::ostringstream text;
        if (outcome.IsRead)
        {
            const auto& root = static_cast<const Sample::Everything&>(*outcome.Roots.at(0));
            text << root.Int32 << ' ' << static_cast<int>(root.UInt8) << ' ' << std::to_string(root.Double) << ' '
                 << root.Bool << " '" << root.Text << "'";
        }
        else
            text << outcome.GetSummary();
        EXPECT_EQ(text.str().substr(0, std::string{row.Outcome}.size()), row.Outcome) << row.Member;
    }
}

TEST_F(JsonFormat, FaultsAreNamed)
{
    struct Row
    {
        std::string Text;
        const char* Summary;
    };
    const Row rows[] = {
        {"", "5: Error parsing json: The document is empty. (line: 1)"},
        {"{\n\"Objects\": [\n}", "5: Error parsing json: Invalid value. (line: 3)"},
        {"\xEF\xBB\xBF{}", "5: Error parsing json: Invalid value. (line: 1)"},
        {R"({"Objects": [1e999]})", "5: Error parsing json: Number too big to be stored in double. (line: 1)"},
        {R"({"Objects": []} x)",
            "5: Error parsing json: The document root must not be followed by other values. (line: 1)"},
        {std::string(300, '['), "5: Error parsing json: Nested too deeply. (line: 1)"},
        {"{}", "5: Unable to find required 'Objects' field"},
        {"[]", "5: Unable to find required 'Objects' field"},
        {R"({"Objects": {}})", "5: 'Objects' field must be an array"},
        {R"({"Objects": [{}]})", "5: Unable to find required 'Type' property for object"},
        {R"({"Objects": [7]})", "5: Unable to find required 'Type' property for object"},
        {R"({"Objects": [{"Type": 7}]})", "5: Unable to find required 'Type' property for object"},
        {R"({"Objects": [{"Type": "Sample::None"}]})", "5: Unknown object type Sample::None encountered."},
        {R"({"Objects": [{"Type": "Array_double"}]})", "5: Root object Array_double is not a compound."},
        {R"({"Objects": [{"Type": "RTTI::Object"}]})", "5: Failed to instantiate object of type RTTI::Object."},
        {R"({"Objects": [{"Type": "Sample::Context"}]})", "5: Failed to instantiate object of type Sample::Context."},
        {R"({"Objects": [{"Type": "Sample::Point"}]})", "5: Failed to instantiate object of type Sample::Point."},
        {Wrap(R"("Int32": {})"), "5: Expected compound or pointer type for int32_t"},
        {Wrap(R"("Numbers": {})"), "5: Expected compound or pointer type for Array_double"},
        {Wrap(R"("Int32": [])"), "5: Expected array or map type"},
        {Wrap(R"("Numbers": 1)"), "5: Expected primitive or enum type for Array_double"},
        {Wrap(R"("Center": null)"), "5: Expected primitive or enum type for Sample::Point"},
        {Wrap(R"("Color": 1)"), "5: Expected enum type for Sample::EColor"},
        {Wrap(R"("Color": "Pink")"), "5: Invalid value for enum Sample::EColor"},
        {Wrap(R"("Counts": [{"Value": 1}])"), "5: Missing Key property for map element"},
        {Wrap(R"("Counts": [1])"), "5: Missing Key property for map element"},
        {Wrap(R"("Counts": [{"Key": "a"}])"), "5: Missing Value property for map element"},
        {Wrap(R"("Chosen": {"Type": "Sample::Ticket"})"),
            "4: Compatibility issue: object of type Sample::Ticket used to be derived from Sample::Shape but isn't "
            "anymore"},
        {Wrap(R"("Chosen": {"Type": "Array_double"})"), "5: Root object Array_double is not a compound."},
        {Wrap(R"("Corner": {"Type": "Sample::Shape"})"),
            "4: Compatibility issue: object of type Sample::Shape used to be derived from Sample::Point but isn't "
            "anymore"},
        {R"({"Objects": [{"Type": "Sample::Link", "Next": {"Type": "Sample::Context"}}]})",
            "5: Failed to create object of type Sample::Context"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(gReadText(row.Text, mRegistry).GetSummary(), row.Summary) << row.Text;

    const ReadOutcome outcome = gReadText(R"({"Objects": [{"Type": "Sample::Ticket"}, {"Type": "x"}]})", mRegistry);
    EXPECT_FALSE(outcome.IsRead);
    EXPECT_EQ(outcome.Roots.size(), 1U) << "what came before the fault stays";
}

TEST_F(JsonFormat, WhatIsAbsentStaysAsConstructed)
{
    RTTI::ObjectFactory factory;
    factory.SetFactory<Sample::Everything>(&gMakeEverything);
    const ReadOutcome outcome = gReadText(
        Wrap(
            R"("Numbers": [], "Chosen": {}, "Optional": {}, "Corner": {"Type": "Sample::Lost"}, "Center": {"Y": 5.0})"),
        mRegistry, factory);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    const auto& root = static_cast<const Sample::Everything&>(*outcome.Roots.at(0));
    EXPECT_TRUE(root.Numbers.empty()) << "an empty array clears";
    EXPECT_EQ(root.Chosen, nullptr);
    EXPECT_EQ(root.Optional, nullptr);
    EXPECT_EQ(root.Corner, nullptr) << "a type that is unknown";
    EXPECT_EQ(root.Center.Y, 5.0);
    EXPECT_EQ(root.Int8, -100);
    EXPECT_EQ(gReadText(R"({"Objects": []})", mRegistry).GetSummary(), "ok");
}

// Each double is written shortest and read as the nearest, so that saving settings again and again changes nothing.
TEST_F(JsonFormat, DoublesComeBackBitForBit)
{
    Sample::Everything made;
    made.Numbers = {0.1, 1.0 / 3, 2.2250738585072014e-308, 5e-324, 1.7976931348623157e308, 9007199254740993.0, -0.0,
        123456.789e-7, 1e23, 8.41e21, 3.0e-300};
    const ReadOutcome outcome = gReadText(Write(made), mRegistry);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    const auto& numbers = static_cast<const Sample::Everything&>(*outcome.Roots.at(0)).Numbers;
    ASSERT_EQ(numbers.size(), made.Numbers.size());
    EXPECT_EQ(std::memcmp(numbers.data(), made.Numbers.data(), numbers.size() * sizeof(double)), 0);
    EXPECT_EQ(gReadText(Wrap(R"("Double": 1e-400)"), mRegistry).GetSummary(), "ok") << "too small is zero";
}

TEST_F(JsonFormat, ValueThatJsonCannotHoldIsRefused)
{
    Sample::Circle circle;
    circle.Radius = std::numeric_limits<double>::infinity();
    std::string text = "untouched";
    Utility::Result result;
    EXPECT_FALSE(gWriteJson({&circle}, text, result));
    EXPECT_EQ(text, "untouched");
    ASSERT_EQ(result.GetEntries().size(), 2U) << "a message at each level";
    EXPECT_EQ(result.GetEntries()[0].mMessage, "Error serializing primitive double");
    EXPECT_EQ(result.GetEntries()[1].mMessage, "There was an error serializing object Sample::Circle to json");

    result.Clear();
    EXPECT_FALSE(gWriteJsonFile(mFolder / "a.json", {&circle}, result));
    EXPECT_TRUE(mFolder.List().empty()) << "no file is touched";
}

TEST_F(JsonFormat, ChainsThatAreTooLongAreRefused)
{
    Sample::Link first;
    Sample::Link* last = &first;
    for (int i = 0; i < 100'000; ++i)
    {
        auto next = std::make_unique<Sample::Link>();
        Sample::Link* const made = next.get();
        last->Next = std::move(next);
        last = made;
        if (i == 100)
        {
            EXPECT_EQ(gReadText(Write(first), mRegistry).GetSummary(), "ok");
        }
    }
    std::string text;
    Utility::Result result;
    EXPECT_FALSE(gWriteJson({&first}, text, result));
    EXPECT_EQ(result.GetEntries().at(0).mMessage, "Objects of type UniquePtr_RTTI::Object are nested too deeply");
    while (first.Next != nullptr)
    {
        std::unique_ptr<RTTI::Object> rest = std::move(static_cast<Sample::Link&>(*first.Next).Next);
        first.Next = std::move(rest);
    }
}

// A short text may not ask for a large block: two bytes a value would be enough for that.
TEST_F(JsonFormat, ManySmallValuesAreRefusedBeforeTheyFillTheMemory)
{
    std::string text = R"({"Objects": [)";
    for (int i = 0; i < 2'000'000; ++i)
        text += "0,";
    text += "0]}";
    EXPECT_EQ(gReadText(text, mRegistry).GetSummary(), "5: Error parsing json: Too many values. (line: 1)");
}

TEST_F(JsonFormat, Files)
{
    Sample::Ticket ticket{12};
    Utility::Result result;
    ASSERT_TRUE(gWriteJsonFile(mFolder / "a.json", {&ticket}, result)) << result.ToString();
    EXPECT_EQ(mFolder.Read("a.json"), Write(ticket) + "\n");

    Objects roots;
    ASSERT_TRUE(gReadJsonFile(mFolder / "a.json", mRegistry, {}, roots, result)) << result.ToString();
    const auto read = gTakeFirst<Sample::Ticket>(roots);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->Number, 12);
    EXPECT_TRUE(roots.empty());

    EXPECT_FALSE(gReadJsonFile(mFolder / "none.json", mRegistry, {}, roots, result));
    ASSERT_EQ(result.GetEntries().size(), 1U);
    EXPECT_EQ(result.GetEntries()[0].mMessage, "Could not read file " + (mFolder / "none.json"));
    EXPECT_EQ(result.GetEntries()[0].mContext, mFolder / "none.json");
    EXPECT_EQ(result.GetEntries()[0].mCode, EError::Unspecified);

    result.Clear();
    EXPECT_FALSE(gWriteJsonFile(mFolder / "no/such/folder.json", {&ticket}, result));
    ASSERT_EQ(result.GetEntries().size(), 1U);
    EXPECT_TRUE(
        result.GetEntries()[0].mMessage.starts_with("Unable to write file " + (mFolder / "no/such/folder.json")))
        << result.ToString();
}

TEST_F(JsonFormat, FileIsTheOldOneOrTheNewOneWhateverFails)
{
    Sample::Ticket ticket{12};
    const auto write = [&](Utility::Result& result) {
        return gWriteJsonFile(mFolder / "a.json", {&ticket}, result);
    };
    EXPECT_GE(FileSystem::Internal::gTryReplacingOnFailingDisks(mFolder, "a.json", write), 7);
}

TEST(RootObjects, TakesTheFirstThatFits)
{
    const RTTI::TypeRegistry registry = gMakeSampleRegistry();
    Objects roots;
    roots.push_back(std::make_unique<Sample::Ticket>(1));
    roots.push_back(std::make_unique<Sample::Circle>());
    roots.push_back(std::make_unique<Sample::Square>());
    const auto shape = gTakeFirst<Sample::Shape>(roots);
    ASSERT_NE(shape, nullptr);
    EXPECT_EQ(&shape->GetType(), &RTTI::gTypeOf<Sample::Circle>());
    EXPECT_EQ(roots.size(), 2U);
    EXPECT_EQ(gTakeFirst<Sample::Circle>(roots), nullptr);
}

}
