#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/ObjectFactory.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Utility/Hash.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"

// Each benchmark does its work and the least that anybody could do for the same result, in turn, on fresh memory both
// times. "ratio" is the speed relative to that, "limit" what it may not fall below.

namespace Sample
{

/// Five doubles and a short text.
struct Bar
{
    double Begin = 0;
    double End = 0;
    double Minimum = 0;
    double Average = 0;
    double Maximum = 0;
    std::string Text;

    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Bar>("Sample::Bar", RTTI::Version{1}, RTTI::Field<&Bar::Begin>{"Begin"},
            RTTI::Field<&Bar::End>{"End"}, RTTI::Field<&Bar::Minimum>{"Minimum"}, RTTI::Field<&Bar::Average>{"Average"},
            RTTI::Field<&Bar::Maximum>{"Maximum"}, RTTI::Field<&Bar::Text>{"Text"});
    }
};

class Bars final : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Bars>(
            "Sample::Bars", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Bars::Values>{"Values"});
    }

    std::vector<Bar> Values;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Bars>(); }
};

class Numbers final : public RTTI::Object
{
public:
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Numbers>(
            "Sample::Numbers", RTTI::Version{1}, RTTI::Base<RTTI::Object>{}, RTTI::Field<&Numbers::Values>{"Values"});
    }

    std::vector<double> Values;

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<Numbers>(); }
};

}

namespace
{

using Bytes = std::vector<std::byte>;
using Clock = std::chrono::steady_clock;

constexpr std::size_t cNumBars = 1'000'000;
constexpr std::size_t cNumNumbers = 10'000'000;
constexpr std::size_t cFixedSize = 5 * sizeof(double);

const RTTI::TypeRegistry& gGetRegistry()
{
    static const RTTI::TypeRegistry sRegistry = [] {
        RTTI::TypeRegistry registry;
        const auto scope = registry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(registry);
        Serialization::gRegisterTypes(registry);
        registry.Register(RTTI::gTypeOf<Sample::Bars>());
        registry.Register(RTTI::gTypeOf<Sample::Numbers>());
        registry.Finalize();
        return registry;
    }();
    return sRegistry;
}

Sample::Bars gMakeBars()
{
    std::mt19937_64 random{1};
    Sample::Bars bars;
    bars.Values.resize(cNumBars);
    for (Sample::Bar& bar : bars.Values)
    {
        bar.Begin = static_cast<double>(random());
        bar.End = bar.Begin + 1;
        bar.Minimum = static_cast<double>(random());
        bar.Average = bar.Minimum + 1;
        bar.Maximum = bar.Minimum + 2;
        bar.Text.assign(4 + random() % 9, 'x');
    }
    return bars;
}

Sample::Numbers gMakeNumbers()
{
    std::mt19937_64 random{2};
    Sample::Numbers numbers;
    numbers.Values.resize(cNumNumbers);
    for (double& value : numbers.Values)
        value = static_cast<double>(random());
    return numbers;
}

void gWrite(RTTI::Object& object, Utility::OutputMemoryStream& stream)
{
    Utility::Result result;
    if (!Serialization::gWriteBinary(stream, {&object}, result))
        std::abort();
}

Bytes gWrite(RTTI::Object& object)
{
    gGetRegistry();
    Utility::OutputMemoryStream stream;
    gWrite(object, stream);
    return {stream.GetData().begin(), stream.GetData().end()};
}

void gRead(const Bytes& buffer)
{
    Utility::InputMemoryStream stream{std::span<const std::byte>{buffer}};
    std::vector<std::unique_ptr<RTTI::Object>> objects;
    Utility::Result result;
    if (!Serialization::gReadBinary(
            stream, gGetRegistry(), {}, Serialization::EUnknownTypePolicy::Fail, objects, result))
        std::abort();
}

/// Memory that nobody has written to.
std::unique_ptr<std::byte[]> gAllocate(std::size_t size)
{
    return std::make_unique_for_overwrite<std::byte[]>(size);
}

std::size_t gGetPackedSize(const Sample::Bars& bars)
{
    std::size_t size = 0;
    for (const Sample::Bar& bar : bars.Values)
        size += cFixedSize + sizeof(uint64_t) + bar.Text.size();
    return size;
}

/// Each bar as its numbers, a length and the text, then the hash of it all.
std::unique_ptr<std::byte[]> gPackBars(const Sample::Bars& bars, std::size_t size)
{
    auto packed = gAllocate(size + sizeof(uint64_t));
    std::byte* end = packed.get();
    for (const Sample::Bar& bar : bars.Values)
    {
        const uint64_t length = bar.Text.size();
        std::memcpy(end, &bar.Begin, cFixedSize);
        std::memcpy(end + cFixedSize, &length, sizeof(length));
        std::memcpy(end + cFixedSize + sizeof(length), bar.Text.data(), length);
        end += cFixedSize + sizeof(length) + length;
    }
    const uint64_t hash = Utility::gXXH64({packed.get(), size});
    std::memcpy(end, &hash, sizeof(hash));
    return packed;
}

void gUnpackBars(const std::byte* packed, std::size_t size)
{
    uint64_t hash = 0;
    std::memcpy(&hash, packed + size, sizeof(hash));
    if (hash != Utility::gXXH64({packed, size}))
        std::abort();
    Sample::Bars bars;
    bars.Values.resize(cNumBars);
    const std::byte* current = packed;
    for (Sample::Bar& bar : bars.Values)
    {
        uint64_t length = 0;
        if (size - static_cast<std::size_t>(current - packed) < cFixedSize + sizeof(length))
            std::abort();
        std::memcpy(&bar.Begin, current, cFixedSize);
        std::memcpy(&length, current + cFixedSize, sizeof(length));
        current += cFixedSize + sizeof(length);
        if (size - static_cast<std::size_t>(current - packed) < length)
            std::abort();
        bar.Text.assign(reinterpret_cast<const char*>(current), length);
        current += length;
    }
    benchmark::DoNotOptimize(bars.Values.data());
}

void gCopyAndHash(const void* source, std::size_t size)
{
    const auto copy = gAllocate(size);
    std::memcpy(copy.get(), source, size);
    benchmark::DoNotOptimize(Utility::gXXH64({copy.get(), size}));
}

template <class F>
double gMeasure(F work)
{
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

template <class Work, class Least>
void gCompare(benchmark::State& state, double limit, Work work, Least least)
{
    double workSeconds = 0;
    double leastSeconds = 0;
    for (auto _ : state)
    {
        leastSeconds += gMeasure(least);
        const double seconds = gMeasure(work);
        workSeconds += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = leastSeconds / workSeconds;
    state.counters["limit"] = limit;
}

void gWriteRecords(benchmark::State& state)
{
    gGetRegistry();
    Sample::Bars bars = gMakeBars();
    const std::size_t size = gGetPackedSize(bars);
    gCompare(
        state, 0.4,
        [&] {
            Utility::OutputMemoryStream stream;
            gWrite(bars, stream);
        },
        [&] { gPackBars(bars, size); });
}

void gReadRecords(benchmark::State& state)
{
    Sample::Bars bars = gMakeBars();
    const std::size_t size = gGetPackedSize(bars);
    const auto packed = gPackBars(bars, size);
    const Bytes buffer = gWrite(bars);
    gCompare(
        state, 0.7, [&] { gRead(buffer); }, [&] { gUnpackBars(packed.get(), size); });
}

void gWriteNumbers(benchmark::State& state)
{
    gGetRegistry();
    Sample::Numbers numbers = gMakeNumbers();
    gCompare(
        state, 0.7,
        [&] {
            Utility::OutputMemoryStream stream;
            gWrite(numbers, stream);
        },
        [&] { gCopyAndHash(numbers.Values.data(), cNumNumbers * sizeof(double)); });
}

void gReadNumbers(benchmark::State& state)
{
    Sample::Numbers numbers = gMakeNumbers();
    const Bytes buffer = gWrite(numbers);
    gCompare(
        state, 0.7, [&] { gRead(buffer); }, [&] { gCopyAndHash(numbers.Values.data(), cNumNumbers * sizeof(double)); });
}

BENCHMARK(gWriteRecords)->Name("write 1M records")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(gReadRecords)->Name("read 1M records")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(gWriteNumbers)->Name("write 10M doubles")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(gReadNumbers)->Name("read 10M doubles")->UseManualTime()->Unit(benchmark::kMillisecond);

}
