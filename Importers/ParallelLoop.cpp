#include "Importers/ParallelLoop.h"

#include "System/ThreadName.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>
#include <vector>

namespace Importers
{
std::size_t gCountLoopThreads()
{
    constexpr unsigned most = 4;
    return std::clamp(std::thread::hardware_concurrency(), 1U, most);
}

void gLoopInParallel(std::size_t count, const std::function<void(std::size_t, std::size_t)>& function)
{
    const std::size_t numThreads = std::max<std::size_t>(std::min(count, gCountLoopThreads()), 1);
    // Relaxed: a number of its own is all that a thread needs; the rest comes with its start and its end.
    std::atomic<std::size_t> next{0};
    std::vector<std::exception_ptr> failures(numThreads);
    const auto run = [&](std::size_t thread) {
        try
        {
            for (std::size_t i = next.fetch_add(1, std::memory_order_relaxed); i < count;
                 i = next.fetch_add(1, std::memory_order_relaxed))
            {
                function(thread, i);
            }
        }
        catch (...)
        {
            failures[thread] = std::current_exception();
            next.store(count, std::memory_order_relaxed);
        }
    };

    std::vector<std::jthread> threads;
    for (std::size_t thread = 1; thread < numThreads; ++thread)
    {
        threads.emplace_back([&run, thread] {
            System::gSetThreadName("Import Loop");
            run(thread);
        });
    }
    run(0);
    threads.clear();
    for (const std::exception_ptr& failure : failures)
    {
        if (failure != nullptr)
        {
            std::rethrow_exception(failure);
        }
    }
}
}
