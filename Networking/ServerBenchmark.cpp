#include "Networking/Client.h"
#include "Networking/Server.h"
#include "tests/support/BenchmarkSize.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

namespace Networking
{

namespace
{

using Clock = std::chrono::steady_clock;

double GetSeconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void Fail(const char* reason)
{
    std::fprintf(stderr, "%s\n", reason);
    std::abort();
}

/// The same bytes, in as large pieces as a server's buffer, with nothing looked at.
class BarePair
{
public:
    BarePair()
    {
        const Socket listener = Socket::sListen();
        mFront = Socket::sConnect("127.0.0.1", listener.GetPort());
        static_cast<void>(gWait(listener, EDirection::Receive));
        mBack = listener.Accept();
        if (!mFront.IsValid() || !mBack.IsValid())
            Fail("no connection");
    }

    double Move(std::size_t size)
    {
        const auto start = Clock::now();
        std::thread sender{[this, size] {
            const std::string piece(SendBuffer::cBufferSize, 'x');
            for (std::size_t left = size; left > 0;)
            {
                const auto bytes = std::as_bytes(std::span{piece}).first(std::min(left, piece.size()));
                const std::size_t count = mFront.Send(bytes).value();
                left -= count;
                if (count == 0)
                    static_cast<void>(gWait(mFront, EDirection::Send));
            }
        }};
        std::string target(64 * 1024, ' ');
        for (std::size_t left = size; left > 0;)
        {
            const std::size_t count = mBack.Receive(std::as_writable_bytes(std::span{target})).value();
            left -= count;
            if (count == 0)
                static_cast<void>(gWait(mBack, EDirection::Receive));
        }
        sender.join();
        return GetSeconds(start);
    }

private:
    Socket mFront;
    Socket mBack;
};

/// A server with its client, both ways.
class ServerPair
{
public:
    ServerPair()
    {
        mSubscription = mServer.Subscribe(1, [this](Utility::InputMemoryStream&) {
            if (++mNumReceived == mNumExpected)
                mAllReceived.Set();
        });
        if (!mServer.Start() || !mClient.Connect("127.0.0.1", static_cast<uint16_t>(mServer.GetPort())) ||
            !mServer.WaitForConnection())
            Fail("no connection");
    }

    double MoveOut(std::size_t numFrames, const std::string& payload)
    {
        const auto start = Clock::now();
        std::thread sender{[&] {
            Send(mServer, numFrames, payload);
        }};
        for (std::size_t i = 0; i < numFrames; ++i)
        {
            if (!mClient.Receive())
                Fail("the server has gone");
        }
        sender.join();
        return GetSeconds(start);
    }

    double MoveIn(std::size_t numFrames, const std::string& payload)
    {
        mAllReceived.Reset();
        mNumReceived = 0;
        mNumExpected = numFrames;
        const auto start = Clock::now();
        Send(mClient, numFrames, payload);
        static_cast<void>(gWait({}, EDirection::Receive, mAllReceived));
        return GetSeconds(start);
    }

private:
    static void Send(MessageSender& sender, std::size_t numFrames, const std::string& payload)
    {
        for (std::size_t i = 0; i < numFrames; ++i)
            sender.Send(1, payload.data(), static_cast<uint32_t>(payload.size()));
    }

    std::atomic<std::size_t> mNumReceived = 0;
    std::atomic<std::size_t> mNumExpected = 0;
    System::WakeUp mAllReceived;
    Server mServer{"Benchmark"};
    Client mClient;
    EventSubscription mSubscription;
};

void Report(benchmark::State& state, std::size_t numFrames, std::size_t size, double server, double bare)
{
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["frames/s"] = rounds * static_cast<double>(numFrames) / server;
    state.counters["bytes/s"] = rounds * static_cast<double>(size) / server;
    state.counters["ratio"] = server / bare;
}

/// The argument is the length of a payload.
void Measure(benchmark::State& state, double (ServerPair::*move)(std::size_t, const std::string&))
{
    const std::string payload(static_cast<std::size_t>(state.range(0)), 'p');
    const std::size_t numFrames =
        std::max<std::size_t>(1, Tests::gGetBenchmarkSize(16 << 20) / (payload.size() + cHeaderSize));
    const std::size_t size = numFrames * (payload.size() + cHeaderSize);
    ServerPair pair;
    BarePair bare;
    double serverTime = 0;
    double bareTime = 0;
    for (auto _ : state)
    {
        const double time = (pair.*move)(numFrames, payload);
        state.SetIterationTime(time);
        serverTime += time;
        bareTime += bare.Move(size);
    }
    Report(state, numFrames, size, serverTime, bareTime);
}

void ServerToClient(benchmark::State& state)
{
    Measure(state, &ServerPair::MoveOut);
}

void ClientToServer(benchmark::State& state)
{
    Measure(state, &ServerPair::MoveIn);
}

BENCHMARK(ServerToClient)->Arg(0)->Arg(64)->Arg(4096)->Arg(1 << 20)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ClientToServer)->Arg(0)->Arg(64)->Arg(4096)->Arg(1 << 20)->UseManualTime()->Unit(benchmark::kMillisecond);

}

}
