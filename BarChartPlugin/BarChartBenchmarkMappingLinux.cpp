#include "BarChartPlugin/BarChartBenchmarkMapping.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

BenchmarkMapping::BenchmarkMapping(const std::string& path)
{
    const std::size_t size = std::filesystem::file_size(path);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    void* bytes = file < 0 ? MAP_FAILED : mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (bytes == MAP_FAILED)
    {
        std::perror(path.c_str());
        std::exit(1);
    }
    close(file);
    mBytes = {static_cast<const std::byte*>(bytes), size};
}

BenchmarkMapping::~BenchmarkMapping()
{
    munmap(const_cast<std::byte*>(mBytes.data()), mBytes.size());
}
