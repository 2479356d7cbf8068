#include "System/Interrupt.h"

#include <csignal>
#include <cstdlib>

namespace System
{

namespace
{

std::atomic<bool> sInterrupted{false};
volatile std::sig_atomic_t sSignal = 0;
volatile std::sig_atomic_t sCount = 0;
constexpr int cMostRepeats = 5;

static_assert(std::atomic<bool>::is_always_lock_free, "the handler may only touch what needs no lock");

void OnSignal(int signal)
{
    sSignal = signal;
    sCount = sCount + 1;
    sInterrupted.store(true, std::memory_order_relaxed);
    if (sCount >= cMostRepeats)
    {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

void SetHandler(int signal)
{
    struct sigaction action = {};
    action.sa_handler = &OnSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}

const std::atomic<bool>& gCatchInterrupts()
{
    SetHandler(SIGINT);
    SetHandler(SIGTERM);
    SetHandler(SIGHUP);
    std::signal(SIGXFSZ, SIG_IGN);
    return sInterrupted;
}

void gEndByInterrupt()
{
    const int signal = sSignal == 0 ? SIGINT : static_cast<int>(sSignal);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(128 + signal);
}

}
