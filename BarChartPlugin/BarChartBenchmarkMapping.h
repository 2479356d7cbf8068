#pragma once

#include <cstddef>
#include <span>
#include <string>

/// A file mapped for reading, as a benchmark's measure. A file that cannot be mapped ends the program.
class BenchmarkMapping
{
public:
    explicit BenchmarkMapping(const std::string& path);
    ~BenchmarkMapping();
    BenchmarkMapping(const BenchmarkMapping&) = delete;
    BenchmarkMapping& operator=(const BenchmarkMapping&) = delete;

    std::span<const std::byte> GetBytes() const { return mBytes; }

private:
    std::span<const std::byte> mBytes;
};
