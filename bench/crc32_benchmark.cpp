#include "archive/crc32.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <span>
#include <vector>

namespace {

/// What crc32 would be without lanes.
std::uint32_t plainCrc32(std::span<const std::byte> data) {
    std::uint32_t value = 0xFFFFFFFF;
    for (const std::byte byte : data) {
        value ^= std::to_integer<std::uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1U) ^ (0xEDB88320 & (0U - (value & 1U)));
        }
    }
    return ~value;
}

std::uint32_t fastestCrc32(std::span<const std::byte> data) {
    return mos::crc32(data);
}

std::uint32_t portableCrc32(std::span<const std::byte> data) {
    return mos::crc32(data, 0, mos::portableCrc32Lanes);
}

template<auto function>
void measure(benchmark::State& state) {
    const std::vector<std::byte> data(static_cast<std::size_t>(state.range(0)), std::byte{0x5A});
    for ([[maybe_unused]] const auto iteration : state) {
        benchmark::DoNotOptimize(function(data));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {64, 512, 2048, 4096, 1 << 20}) {
        benchmark->Arg(size);
    }
}

} // namespace

BENCHMARK(measure<fastestCrc32>)->Name("crc32 fastest")->Apply(sizes);
BENCHMARK(measure<portableCrc32>)->Name("crc32 portable")->Apply(sizes);
BENCHMARK(measure<plainCrc32>)->Name("crc32 plain loop")->Apply(sizes);
