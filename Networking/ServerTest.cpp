#include "Networking/Server.h"
#include "Networking/Client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Networking
{

namespace
{

using namespace std::chrono_literals;

/// What a handler got, for the test's thread.
class Inbox
{
public:
    Server::Handler GetHandler(int id)
    {
        return [this, id](Utility::InputMemoryStream& stream) {
            const System::MutexLock lock{mLock};
            mTexts.push_back(std::to_string(id) + ":" +
                             std::string{reinterpret_cast<const char*>(stream.GetCurrent()), stream.GetRemaining()});
            mChanged.NotifyAll();
        };
    }

    std::vector<std::string> Wait(std::size_t count)
    {
        const System::MutexLock lock{mLock};
        while (mTexts.size() < count)
            mChanged.Wait(mLock);
        return mTexts;
    }

private:
    System::Mutex mLock;
    System::ConditionVariable mChanged;
    std::vector<std::string> mTexts GUARDED_BY(mLock);
};

void Send(MessageSender& sender, uint8_t id, std::string_view text)
{
    sender.Send(id, text.data(), static_cast<uint32_t>(text.size()));
}

std::string Receive(Client& client)
{
    const auto frame = client.Receive();
    if (!frame)
        return "gone";
    return std::to_string(frame->mID) + ":" +
           std::string{reinterpret_cast<const char*>(frame->mPayload.data()), frame->mPayload.size()};
}

class ServerTest : public testing::Test
{
protected:
    bool Connect(Client& client)
    {
        return client.Connect("127.0.0.1", static_cast<uint16_t>(mServer.GetPort())) && mServer.WaitForConnection();
    }
    /// Connects as soon as the server listens again.
    void ConnectAgain(Client& client)
    {
        while (!client.Connect("127.0.0.1", static_cast<uint16_t>(mServer.GetPort())))
            std::this_thread::sleep_for(1ms);
        ASSERT_TRUE(mServer.WaitForConnection());
    }

    Inbox mInbox;
    Server mServer{"Server under test"};
    Client mClient;
};

TEST_F(ServerTest, MessagesGoBothWays)
{
    const EventSubscription two = mServer.Subscribe(2, mInbox.GetHandler(2));
    const EventSubscription four = mServer.Subscribe(4, mInbox.GetHandler(4));
    Send(mServer, 1, "lost: it has not been started");
    ASSERT_TRUE(mServer.Start());
    ASSERT_TRUE(mServer.Start());
    Send(mServer, 1, "lost: there is no peer");
    ASSERT_TRUE(Connect(mClient));

    const std::string large(1 << 20, 'L');
    std::thread sender{[&] {
        Send(mServer, 1, "");
        Send(mServer, 1, large);
        mServer.Send(9, nullptr, 0);
    }};
    EXPECT_EQ(Receive(mClient), "1:");
    EXPECT_EQ(Receive(mClient), "1:" + large);
    EXPECT_EQ(Receive(mClient), "9:");
    sender.join();

    Send(mClient, 3, "nobody wants it");
    Send(mClient, 2, "");
    Send(mClient, 4, large);
    EXPECT_EQ(mInbox.Wait(2), (std::vector<std::string>{"2:", "4:" + large}));
}

TEST_F(ServerTest, MessagesOfManySendersStayWhole)
{
    ASSERT_TRUE(mServer.Start());
    ASSERT_TRUE(Connect(mClient));
    constexpr int cSenders = 4;
    constexpr int cMessages = 50;
    std::vector<std::thread> senders;
    for (int sender = 0; sender < cSenders; ++sender)
    {
        senders.emplace_back([this, sender] {
            for (int i = 0; i < cMessages; ++i)
                Send(mServer, static_cast<uint8_t>(sender), std::string(i * 997, static_cast<char>('a' + sender)));
        });
    }
    std::vector<int> received(cSenders);
    for (int i = 0; i < cSenders * cMessages; ++i)
    {
        const std::string message = Receive(mClient);
        const int sender = message[0] - '0';
        ASSERT_TRUE(sender >= 0 && sender < cSenders) << message.substr(0, 20);
        EXPECT_EQ(message.substr(2), std::string(received[sender]++ * 997, static_cast<char>('a' + sender)));
    }
    for (std::thread& thread : senders)
        thread.join();
}

TEST_F(ServerTest, ListensAgainWhenThePeerHasGone)
{
    const EventSubscription two = mServer.Subscribe(2, mInbox.GetHandler(2));
    ASSERT_TRUE(mServer.Start());
    for (std::size_t round = 1; round <= 3; ++round)
    {
        Client client;
        ConnectAgain(client);
        Send(client, 2, "round");
        EXPECT_EQ(mInbox.Wait(round).size(), round);
    }
    mServer.Stop();
    EXPECT_EQ(mServer.GetPort(), 0u);
    ASSERT_TRUE(mServer.Start());
    EXPECT_TRUE(Connect(mClient));
    mServer.Stop();
    EXPECT_EQ(Receive(mClient), "gone");
    Send(mClient, 2, "lost");
    EXPECT_FALSE(mClient.IsConnected());
}

TEST_F(ServerTest, StopReleasesThoseWhoWait)
{
    EXPECT_FALSE(mServer.WaitForConnection()) << "it does not run";
    ASSERT_TRUE(mServer.Start());
    auto waiter = std::async(std::launch::async, [this] { return mServer.WaitForConnection(); });
    ASSERT_TRUE(Connect(mClient));
    EXPECT_TRUE(waiter.get());
    // The client reads nothing: this fills all buffers on the way.
    auto sender = std::async(std::launch::async, [this] { Send(mServer, 1, std::string(32 << 20, 'x')); });
    sender.wait_for(50ms);
    mServer.Stop();
    sender.get();
}

TEST_F(ServerTest, StopReleasesAHandlerThatSends)
{
    for (int round = 0; round < 3; ++round)
    {
        Inbox inbox;
        const EventSubscription two = mServer.Subscribe(2, [&](Utility::InputMemoryStream& stream) {
            inbox.GetHandler(2)(stream);
            // This fills all buffers on the way, and nobody reads it.
            Send(mServer, 1, std::string(32 << 20, 'x'));
        });
        ASSERT_TRUE(mServer.Start());
        Client client;
        ASSERT_TRUE(Connect(client));
        Send(client, 2, "");
        Send(client, 2, "");
        inbox.Wait(1);
        mServer.Stop();
    }
}

TEST_F(ServerTest, OnlyTheAwaitedProcessGetsIn)
{
    mServer.SetPeerProcess(Server::cNoProcess);
    ASSERT_TRUE(mServer.Start());
    ASSERT_TRUE(mClient.Connect("127.0.0.1", static_cast<uint16_t>(mServer.GetPort())));
    // Process 1 is there, and the connection is not its own.
    mServer.SetPeerProcess(1);
    EXPECT_EQ(Receive(mClient), "gone");
    mServer.SetPeerProcess(static_cast<uint32_t>(getpid()));
    Client awaited;
    EXPECT_TRUE(Connect(awaited));
    // While it has a peer nobody listens.
    Client second;
    EXPECT_FALSE(second.Connect("127.0.0.1", static_cast<uint16_t>(mServer.GetPort())));
}

TEST_F(ServerTest, APeerThatAnnouncesTooMuchIsDropped)
{
    const EventSubscription two = mServer.Subscribe(2, mInbox.GetHandler(2));
    ASSERT_TRUE(mServer.Start());
    ASSERT_TRUE(Connect(mClient));
    mClient.Send(2, nullptr, cMaxPayload + 1);
    EXPECT_EQ(Receive(mClient), "gone");
    ConnectAgain(mClient);
    Send(mClient, 2, "good");
    EXPECT_EQ(mInbox.Wait(1), (std::vector<std::string>{"2:good"}));
}

}

}
