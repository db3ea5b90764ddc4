#include "store/sha256.h"

#include <benchmark/benchmark.h>
#include <vector>

namespace {

template<mos::Sha256::Implementation implementation>
void measure(benchmark::State& state) {
    const std::vector<std::byte> data(static_cast<std::size_t>(state.range(0)), std::byte{0x5A});
    for ([[maybe_unused]] const auto iteration : state) {
        mos::Sha256 digest(implementation);
        digest.update(data);
        benchmark::DoNotOptimize(digest.finish());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(measure<mos::Sha256::Implementation::Fastest>)
    ->Name("sha256 fastest")
    ->Arg(64)
    ->Arg(4096)
    ->Arg(1 << 20);
BENCHMARK(measure<mos::Sha256::Implementation::Portable>)
    ->Name("sha256 portable")
    ->Arg(64)
    ->Arg(4096)
    ->Arg(1 << 20);
