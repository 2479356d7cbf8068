#include "ProfilerLib/plugin/MessageBus.h"
#include "ProfilerLib/plugin/MessageBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace Profiler
{
namespace
{

using testing::ElementsAre;

const MessageSchema& gGetSchema()
{
    static const MessageSchema sSchema{
        "Sample", {{"Number", EMessageFieldType::Int32}, {"Time", EMessageFieldType::Double},
                      {"Addresses", EMessageFieldType::Array}, {"ID", EMessageFieldType::UInt64}}};
    return sSchema;
}

TEST(MessageTest, ValuesComeBackByNameInWhateverOrderTheyWereWritten)
{
    MessageBuilder builder{gGetSchema()};
    builder.WriteAddresses("Addresses", std::vector<AddressElement>{{~uint64_t{0}, true}, {5, false}});
    builder.WriteDouble("Time", 0.1);
    builder.WriteInt32("Number", -7);
    const std::unique_ptr<Message> message = builder.Finish();

    EXPECT_EQ(&message->GetSchema(), &gGetSchema());
    EXPECT_EQ(message->ReadInt32("Number"), -7);
    EXPECT_EQ(message->ReadDouble("Time"), 0.1);
    EXPECT_THAT(*message->ReadAddresses("Addresses"),
        ElementsAre(AddressElement{~uint64_t{0}, true}, AddressElement{5, false}));
    EXPECT_EQ(message->ReadUInt64("ID"), std::nullopt) << "not written";
    EXPECT_EQ(message->ReadInt32("number"), std::nullopt) << "not in the schema";
    EXPECT_EQ(message->ReadInt32("Time"), std::nullopt) << "of another type";
}

/// The layout that the other side reads, which may be of another build.
TEST(MessageTest, ArrayIsTypeCountAndNineBytesAnElement)
{
    for (const std::size_t count : {0U, 2U})
    {
        std::vector<std::byte> bytes(9 + count * 9);
        bytes[0] = std::byte{6};
        bytes[1] = std::byte(count);
        if (count > 0)
        {
            bytes[9] = std::byte{0x34};
            bytes[10] = std::byte{0x12};
            bytes[17] = std::byte{1};
        }
        const auto addresses = Message{gGetSchema(), {-1, -1, 0, -1}, bytes}.ReadAddresses("Addresses");
        ASSERT_TRUE(addresses.has_value());
        EXPECT_EQ(addresses->size(), count);
        if (count > 0)
        {
            EXPECT_EQ(addresses->front(), (AddressElement{0x1234, true}));
            bytes.pop_back();
            EXPECT_FALSE(Message(gGetSchema(), {-1, -1, 0, -1}, bytes).ReadAddresses("Addresses").has_value());
        }
    }
}

class MessageBusTest : public testing::Test
{
protected:
    class Listener final : public MessageListener
    {
    public:
        Listener(MessageBusTest& test, std::string name, MessageScope scope)
            : MessageListener{scope, &test.mBus},
              mTest{test},
              mName{std::move(name)}
        {}
        void OnMessage(const Message&) override
        {
            mTest.mHeard.push_back(mName);
            if (mAction)
                mAction();
        }

        std::function<void()> mAction;

    private:
        MessageBusTest& mTest;
        std::string mName;
    };

    std::unique_ptr<Listener> Listen(const std::string& name, MessageScope scope = cAllSessions)
    {
        return std::make_unique<Listener>(*this, name, scope);
    }
    std::vector<std::string> Send(MessageScope scope)
    {
        mHeard.clear();
        mBus.Send(scope, *MessageBuilder{gGetSchema()}.Finish());
        return mHeard;
    }

    MessageBus mBus;
    std::vector<std::string> mHeard;
};

TEST_F(MessageBusTest, ScopeChoosesWhoHears)
{
    const auto a = Listen("a", 1);
    const auto all = Listen("all");
    const auto b = Listen("b", 2);
    const MessageListener silent{cAllSessions, &mBus};
    EXPECT_THAT(Send(1), ElementsAre("a", "all"));
    EXPECT_THAT(Send(2), ElementsAre("all", "b"));
    EXPECT_THAT(Send(3), ElementsAre("all"));
    EXPECT_THAT(Send(cAllSessions), ElementsAre("a", "all", "b"));
    mBus.AddListener(a.get());
    EXPECT_THAT(Send(1), ElementsAre("a", "all", "a"));
    mBus.RemoveListener(a.get());
    EXPECT_THAT(Send(1), ElementsAre("all"));
}

TEST_F(MessageBusTest, ListenersMayComeAndGoWhileAMessageIsDelivered)
{
    auto first = Listen("first");
    auto second = Listen("second");
    auto third = Listen("third");
    auto fourth = Listen("fourth");
    std::vector<std::unique_ptr<Listener>> added;
    second->mAction = [&] {
        first.reset();
        third.reset();
        for (int i = 0; i < 100; ++i)
            added.push_back(Listen("added"));
    };
    EXPECT_THAT(Send(cAllSessions), ElementsAre("first", "second", "fourth"));

    added.clear();
    second->mAction = [&] {
        second.reset();
    };
    fourth->mAction = [&] {
        fourth->mAction = nullptr;
        Send(cAllSessions);
    };
    EXPECT_THAT(Send(cAllSessions), ElementsAre("fourth"));
}

}
}
