#include "Serialization/BinaryFormat.h"

#include <cstring>
#include <span>

#include <gtest/gtest.h>

#include "Serialization/RootObjects.h"
#include "Serialization/Testing/ContainerWalker.h"
#include "Serialization/Testing/Fixture.h"
#include "Utility/FailureSweep.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/TemporaryFolder.h"

using namespace Serialization;
using namespace Serialization::Testing;

namespace Sample
{

/// Belongs to no registry.
class Stray final : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Stray>("Sample::Stray", RTTI::Version{1}, RTTI::Base<RTTI::Object>{});
    }

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Stray>(); }
};

}

namespace
{

constexpr std::size_t cSchemaOffset = 16;

class BinaryFormat : public testing::Test
{
protected:
    const RTTI::TypeRegistry mRegistry = gMakeSampleRegistry();
    const TemporaryFolder mFolder;
};

std::string gGetText(const Bytes& buffer, std::size_t offset, std::size_t size)
{
    return {reinterpret_cast<const char*>(buffer.data()) + offset, size};
}

TEST_F(BinaryFormat, BytesOfOneSmallObject)
{
    Sample::Ticket ticket{7};
    const Bytes buffer = gWrite({&ticket});
    EXPECT_EQ(gGetText(buffer, 0, 8), std::string("\x5D\xC2\x50\xF4\x02\0\0\0", 8));
    const std::size_t roots = cSchemaOffset + gLoad64(buffer, 8);
    const std::string expected = std::string("\x01\0\0\0\0\0\0\0", 8) + std::string("\x0E\0\0\0\0\0\0\0", 8) +
                                 "Sample::Ticket" + std::string("\x04\0\0\0\0\0\0\0", 8) + std::string("\x07\0\0\0", 4);
    ASSERT_EQ(buffer.size(), roots + expected.size() + 8);
    EXPECT_EQ(gGetText(buffer, roots, expected.size()), expected);
    EXPECT_EQ(gWalkContainer(buffer), "Sample::Ticket{Number=7;}\n");
}

TEST_F(BinaryFormat, AnIndependentReaderSeesEveryValue)
{
    const auto made = gMakeEverything();
    EXPECT_EQ(gWalkContainer(gWrite({made.get()})),
        "Sample::Everything{UInt8=200;Int8=-100;UInt16=60000;Int16=-30000;UInt32=4000000000;Int32=-2000000000;"
        "UInt64=18000000000000000000;Int64=-9000000000000000000;Bool=1;Float=0.100000;Double=0.333333;"
        "Text='g\xC3\xBCltig \"quoted\"\n';Color=2;Level=-1;Center={X=-0.000000;Y=" +
            std::to_string(1e300) + ";};Numbers=[1.500000,0.000000," + std::to_string(made->Numbers[2]) +
            ",123456789.123457,];Texts=['','one','" + std::string(100, 'x') +
            "',];Points=[{X=1.000000;Y=2.000000;},{X=3.000000;Y=4.000000;},];Colors=[1,0,];"
            "Shapes=[*Sample::Circle{Label='circle';Radius=2.500000;Center={X=7.000000;Y=8.000000;};},null,"
            "*Sample::Shape{Label='';},];Counts=<'':0,'max':18446744073709551615,'one':1,>;"
            "Places=<-1:{X=1.000000;Y=1.000000;},5:{X=2.000000;Y=2.000000;},>;"
            "Named=<0:*Sample::Square{Label='';Side=0.500000;},1099511627776:*Sample::Square{Label='';Side=1.500000;},"
            "2199023255552:*Sample::Square{Label='';Side=2.500000;},99:null,>;"
            "Groups=<1:[1,2,3,],2:[],3:[-4,],>;Chosen=*Sample::Square{Label='chosen';Side=4.000000;};"
            "Corner=*Sample::Point{X=9.000000;Y=10.000000;};Optional=*int32_t-77;Nothing=null;}\n");
}

TEST_F(BinaryFormat, RoundTripKeepsEveryKindOfValue)
{
    const auto made = gMakeEverything();
    Sample::Ticket ticket{5};
    const ReadOutcome outcome = gRead(gWrite({&ticket, made.get(), &ticket}), mRegistry);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    ASSERT_EQ(outcome.Roots.size(), 3U);
    EXPECT_EQ(static_cast<const Sample::Ticket&>(*outcome.Roots[2]).Number, 5);
    gExpectEverything(static_cast<const Sample::Everything&>(*outcome.Roots[1]));
}

TEST_F(BinaryFormat, NoObjectsAreABufferToo)
{
    const Bytes buffer = gWrite({});
    EXPECT_EQ(gWalkContainer(buffer), "");
    const ReadOutcome outcome = gRead(buffer, mRegistry);
    EXPECT_EQ(outcome.GetSummary(), "ok");
    EXPECT_TRUE(outcome.Roots.empty());
}

// The class shows only when the objects are written; the schema in front has to have it nevertheless.
TEST_F(BinaryFormat, ClassesBehindPointersToABaseAreInTheSchema)
{
    Sample::Link link;
    const Bytes without = gWrite({&link});
    link.Next = std::make_unique<Sample::Ticket>(3);
    const Bytes with = gWrite({&link});
    const auto getSchema = [](const Bytes& buffer) {
        return gGetText(buffer, cSchemaOffset, gLoad64(buffer, 8));
    };
    EXPECT_EQ(getSchema(without).find("Sample::Ticket"), std::string::npos);
    EXPECT_NE(getSchema(with).find("Sample::Ticket"), std::string::npos);
    EXPECT_EQ(gWalkContainer(without), "Sample::Link{Next=null;}\n");
    EXPECT_EQ(gWalkContainer(with), "Sample::Link{Next=*Sample::Ticket{Number=3;};}\n");
    const ReadOutcome outcome = gRead(with, mRegistry);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    const auto& read = static_cast<const Sample::Link&>(*outcome.Roots.at(0));
    ASSERT_NE(read.Next, nullptr);
    EXPECT_EQ(static_cast<const Sample::Ticket&>(*read.Next).Number, 3);
}

// Entries that a constructor puts into a map may be in the file again.
TEST_F(BinaryFormat, MapsKeepWhatTheConstructorPutThere)
{
    Sample::Everything made;
    made.Counts = {{"both", 1}, {"file", 2}};
    RTTI::ObjectFactory factory;
    factory.SetFactory<Sample::Everything>([] {
        auto object = std::make_unique<Sample::Everything>();
        object->Counts = {{"both", 8}, {"constructor", 9}};
        return object;
    });
    const ReadOutcome outcome = gRead(gWrite({&made}), mRegistry, EUnknownTypePolicy::Fail, factory);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    EXPECT_EQ(static_cast<const Sample::Everything&>(*outcome.Roots.at(0)).Counts,
        (std::unordered_map<std::string, uint64_t>{{"both", 1}, {"file", 2}, {"constructor", 9}}));
}

TEST_F(BinaryFormat, ABufferMayBeginAnywhereInItsStream)
{
    Sample::Ticket ticket{8};
    Bytes bytes(3);
    const Bytes buffer = gWrite({&ticket});
    bytes.insert(bytes.end(), buffer.begin(), buffer.end());
    Utility::InputMemoryStream stream{std::span<const std::byte>{bytes}};
    stream.SetPosition(3);
    Objects roots;
    Utility::Result result;
    EXPECT_TRUE(gReadBinary(stream, mRegistry, {}, EUnknownTypePolicy::Fail, roots, result)) << result.ToString();
    EXPECT_EQ(roots.size(), 1U);
    EXPECT_EQ(stream.GetRemaining(), 0U);
}

TEST_F(BinaryFormat, ObjectsThatNeedAContextComeFromTheFactory)
{
    Sample::Context context{1};
    context.Value = 44;
    const Bytes buffer = gWrite({&context});
    RTTI::ObjectFactory factory;
    factory.SetFactory<Sample::Context>([] { return std::make_unique<Sample::Context>(2); });
    ReadOutcome outcome = gRead(buffer, mRegistry, EUnknownTypePolicy::Skip, factory);
    ASSERT_EQ(outcome.GetSummary(), "ok");
    const auto read = gTakeFirst<Sample::Context>(outcome.Roots);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->Origin, 2);
    EXPECT_EQ(read->Value, 44);

    const std::string message = "there is no way to create an object of type Sample::Context";
    EXPECT_NE(gRead(buffer, mRegistry).GetSummary().find(message), std::string::npos);
    factory.SetFactory(&RTTI::gTypeOf<Sample::Context>(), [] {
        return RTTI::UniqueTypedPtr{RTTI::gTypeOf<Sample::Ticket>(), new Sample::Ticket};
    });
    EXPECT_NE(gRead(buffer, mRegistry, EUnknownTypePolicy::Fail, factory).GetSummary().find(message), std::string::npos)
        << "an object of another class is none";
}

TEST_F(BinaryFormat, AClassThatIsNotRegisteredIsNotWritten)
{
    const std::string message =
        "Unable to write compound of type Sample::Stray which has not been registered with the RTTI registry";
    Sample::Stray stray;
    Sample::Link link;
    link.Next = std::make_unique<Sample::Stray>();
    for (RTTI::Object* object : std::initializer_list<RTTI::Object*>{&stray, &link})
    {
        Utility::OutputMemoryStream stream;
        Utility::Result result;
        EXPECT_FALSE(gWriteBinary(stream, {object}, result));
        ASSERT_EQ(result.GetEntries().size(), 1U);
        EXPECT_EQ(result.GetEntries()[0].mMessage, message);
        EXPECT_EQ(result.GetEntries()[0].mCode, EError::Unspecified);
        EXPECT_EQ(stream.GetSize(), 0U);

        result.Clear();
        EXPECT_FALSE(gWriteBinaryFile(mFolder / "a.dat", {object}, result));
        EXPECT_TRUE(mFolder.List().empty()) << "no file is touched";
    }
}

TEST_F(BinaryFormat, WhatIsTooDeepToBeReadIsNotWritten)
{
    const auto makeChain = [](int length) {
        auto first = std::make_unique<Sample::Link>();
        for (int i = 1; i < length; ++i)
        {
            auto next = std::make_unique<Sample::Link>();
            next->Next = std::move(first);
            first = std::move(next);
        }
        return first;
    };
    // Two levels each, the pointer and the object.
    EXPECT_EQ(gRead(gWrite({makeChain(128).get()}), mRegistry).GetSummary(), "ok");
    Utility::OutputMemoryStream stream;
    Utility::Result result;
    EXPECT_FALSE(gWriteBinary(stream, {makeChain(129).get()}, result));
    EXPECT_TRUE(result.GetEntries().at(0).mMessage.ends_with("are nested too deeply")) << result.ToString();
}

TEST_F(BinaryFormat, Files)
{
    Sample::Ticket ticket{12};
    Utility::Result result;
    const std::string path = mFolder / "a.dat";
    ASSERT_TRUE(gWriteBinaryFile(path, {&ticket}, result)) << result.ToString();
    Objects roots;
    ASSERT_TRUE(gReadBinaryFile(path, mRegistry, {}, EUnknownTypePolicy::Fail, roots, result)) << result.ToString();
    EXPECT_EQ(gTakeFirst<Sample::Ticket>(roots)->Number, 12);

    struct Row
    {
        std::string Path;
        int32_t Code;
        std::string Message;
    };
    const std::string text = mFolder.Write("b.txt", "some text, that is no buffer");
    const Row rows[] = {
        {mFolder / "none.dat", EError::FileNotFound, "The file " + (mFolder / "none.dat") + " does not exist"},
        {mFolder.GetPath(), EError::FileReadFailed, "Unable to read binary file " + mFolder.GetPath()},
        {text, EError::InvalidBuffer, "The buffer is not a Quarkspindle buffer, or it is corrupted"},
    };
    for (const Row& row : rows)
    {
        result.Clear();
        EXPECT_FALSE(gReadBinaryFile(row.Path, mRegistry, {}, EUnknownTypePolicy::Fail, roots, result));
        const Utility::Result::Entry expected{.mCode = row.Code, .mContext = row.Path, .mMessage = row.Message};
        EXPECT_EQ(result.GetEntries(), std::vector{expected}) << result.ToString();
    }

    result.Clear();
    const std::string target = mFolder / "no/such/folder.dat";
    EXPECT_FALSE(gWriteBinaryFile(target, {&ticket}, result));
    EXPECT_TRUE(result.GetEntries().at(0).mMessage.starts_with("Unable to open file " + target + " for writing"))
        << result.ToString();
    EXPECT_EQ(result.GetEntries().at(0).mCode, EError::Unspecified);
}

TEST_F(BinaryFormat, FileIsTheOldOneOrTheNewOneWhateverFails)
{
    Sample::Ticket ticket{12};
    const auto write = [&](Utility::Result& result) {
        return gWriteBinaryFile(mFolder / "a.dat", {&ticket}, result);
    };
    EXPECT_GE(FileSystem::Internal::gTryReplacingOnFailingDisks(mFolder, "a.dat", write), 7);
}

}
