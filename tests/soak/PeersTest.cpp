#include "Networking/Client.h"
#include "Networking/Server.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/SymbolModule.h"
#include "ProfilerLib/symbols/SymbolResolver.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"
#include "tests/soak/ProcessFigures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace
{

using namespace Networking;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// A server whose peers misbehave, and what one of them does with its connection.
class Victim
{
public:
    explicit Victim(std::string name) : mServer{std::move(name)}
    {
        mSubscription = mServer.Subscribe(1, [](Utility::InputMemoryStream&) {});
        EXPECT_TRUE(mServer.Start());
    }

    void BeVisited(const std::function<void(const Socket&)>& visit)
    {
        const Socket peer = Socket::sConnect("127.0.0.1", static_cast<uint16_t>(mServer.GetPort()));
        if (peer.IsValid())
            visit(peer);
    }

    Server& GetServer() { return mServer; }

private:
    Server mServer;
    EventSubscription mSubscription;
};

void SendAll(const Socket& socket, std::span<const std::byte> bytes)
{
    while (!bytes.empty())
    {
        const auto count = socket.Send(bytes);
        if (!count)
            return;
        bytes = bytes.subspan(*count);
        if (*count == 0 && gWait(socket, EDirection::Send, 100ms) == EWait::TimedOut)
            return;
    }
}

void SendHeader(const Socket& socket, uint32_t length)
{
    const uint64_t header = gMakeHeader(1, length);
    SendAll(socket, std::as_bytes(std::span{&header, 1}));
}

/// Messages that have to come back whole and in order, whatever else goes on; returns their number.
int Converse(const std::atomic<bool>& isDone)
{
    Server server{"Undisturbed"};
    server.SetPeerProcess(static_cast<uint32_t>(getpid()));
    const EventSubscription echo = server.Subscribe(2, [&server](Utility::InputMemoryStream& stream) {
        server.Send(3, stream.GetCurrent(), static_cast<uint32_t>(stream.GetRemaining()));
    });
    Client client;
    EXPECT_TRUE(server.Start());
    EXPECT_TRUE(client.Connect("127.0.0.1", static_cast<uint16_t>(server.GetPort())));
    EXPECT_TRUE(server.WaitForConnection());
    int count = 0;
    for (; !isDone; ++count)
    {
        const std::string text = std::to_string(count) + std::string(static_cast<std::size_t>(count % 5000), 'x');
        client.Send(2, text.data(), static_cast<uint32_t>(text.size()));
        const auto answer = client.Receive();
        if (!answer || answer->mID != 3 || !std::ranges::equal(answer->mPayload, std::as_bytes(std::span{text})))
        {
            ADD_FAILURE() << "message " << count << " did not come back";
            break;
        }
    }
    return count;
}

/// Conversions by a real worker, which all have to succeed; returns their number.
int Convert(const std::atomic<bool>& isDone)
{
    using namespace Profiler;

    RTTI::TypeRegistry registry;
    gReadySymbolRegistry(registry);
    const TemporaryFolder folder;
    Utility::Result result;
    Symbols::ImageIdentity identity;
    EXPECT_TRUE(identity.Read(SYMBOL_WORKER, result)) << result.ToString();
    std::atomic<int> numGood = 0;
    std::atomic<int> numDeaths = 0;
    SymbolResolver pool{1, "", SYMBOL_WORKER, registry};
    pool.SetCrashCallback([&] { ++numDeaths; });
    pool.SetConvertCallbacks({}, [&](const PDBKey&, std::unique_ptr<SymbolModule>, ConvertPDBResult::EResult outcome) {
        numGood += outcome == ConvertPDBResult::EResult::Success ? 1 : 0;
    });
    int count = 0;
    for (; !isDone; ++count)
    {
        const uint32_t job = pool.SubmitConvertPDB(identity.mKey, 0, folder / "worker.symcache", "", "", {}, {});
        pool.CancelAndWait({job}, false);
    }
    EXPECT_EQ(numGood.load(), count);
    EXPECT_EQ(numDeaths.load(), 0);
    return count;
}

/// Peers that are slow, send garbage, announce too much, come and go, and strangers, each at a server of their own and
/// for a while. Memory stays within bounds, and another server's peer is not disturbed.
TEST(PeersTest, BadPeersCostLittleAndDisturbNobody)
{
    const auto duration = std::getenv("QUARKSPINDLE_SOAK") != nullptr ? 60000ms : 1000ms;
    Victim slow{"Slow"};
    Victim garbage{"Garbage"};
    Victim oversize{"Oversize"};
    Victim silent{"Silent"};
    Victim strange{"Strange"};
    strange.GetServer().SetPeerProcess(1);

    std::atomic<bool> isDone = false;
    std::atomic<int> numVisits = 0;
    std::vector<std::thread> threads;
    const auto run = [&](Victim& victim, std::function<void(const Socket&)> visit) {
        threads.emplace_back([&, visit = std::move(visit)] {
            for (; !isDone; ++numVisits)
                victim.BeVisited(visit);
        });
    };
    run(slow, [&](const Socket& socket) {
        SendHeader(socket, 200 << 20);
        for (int i = 0; i < 1000 && !isDone; ++i)
        {
            SendHeader(socket, 0);
            std::this_thread::sleep_for(1ms);
        }
    });
    std::mt19937_64 random{20261123};
    run(garbage, [&](const Socket& socket) {
        std::vector<uint64_t> bytes(1 << 17);
        std::ranges::generate(bytes, std::ref(random));
        // Half of them announce a length that is allowed.
        bytes[0] &= random() % 2 == 0 ? 0xFF00000000FFFFFF : ~uint64_t{0};
        SendAll(socket, std::as_bytes(std::span{bytes}));
    });
    run(oversize, [](const Socket& socket) {
        SendHeader(socket, cMaxPayload + 1);
        SendHeader(socket, 0xFFFFFFFF);
    });
    run(silent, [](const Socket& socket) { SendHeader(socket, cMaxPayload); });
    run(strange, [](const Socket& socket) { static_cast<void>(gWait(socket, EDirection::Receive, 100ms)); });

    const uint64_t before = Tests::gGetProcessFigures().MemoryKiB;
    uint64_t highest = before;
    int numMessages = 0;
    std::thread conversation{[&] {
        numMessages = Converse(isDone);
    }};
    int numConversions = 0;
    std::thread conversions{[&] {
        numConversions = Convert(isDone);
    }};
    for (const auto end = Clock::now() + duration; Clock::now() < end;)
    {
        std::this_thread::sleep_for(20ms);
        highest = std::max(highest, Tests::gGetProcessFigures().MemoryKiB);
    }
    isDone = true;
    for (std::thread& thread : threads)
        thread.join();
    conversation.join();
    conversions.join();
    EXPECT_FALSE(strange.GetServer().IsConnected());
    EXPECT_GT(numVisits, 0);
    EXPECT_GT(numMessages, 0);
    EXPECT_GT(numConversions, 0);
    // Most of it is what the peers of this test send from.
    EXPECT_LT(highest - before, 64u * 1024) << "KiB";
    std::printf("%d bad peers; beside them %d messages and %d conversions; %d KiB more memory at most\n",
        numVisits.load(), numMessages, numConversions, static_cast<int>(highest - before));
}

}
