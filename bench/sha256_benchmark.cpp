#include "store/sha256.h"

#include <array>
#include <benchmark/benchmark.h>
#include <vector>

#include <dlfcn.h>

namespace {

std::vector<std::byte> dataOf(const benchmark::State& state) {
    return {static_cast<std::size_t>(state.range(0)), std::byte{0x5A}};
}

template<mos::Sha256::Implementation implementation>
void measure(benchmark::State& state) {
    const std::vector<std::byte> data = dataOf(state);
    for ([[maybe_unused]] const auto iteration : state) {
        mos::Sha256 digest(implementation);
        digest.update(data);
        benchmark::DoNotOptimize(digest.finish());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// The same with OpenSSL, where it is installed.
void measureOpenssl(benchmark::State& state) {
    using Function = unsigned char* (*)(const unsigned char*, std::size_t, unsigned char*);
    void* const library = dlopen("libcrypto.so.3", RTLD_NOW);
    const auto sha256 =
        library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, "SHA256"));
    if (sha256 == nullptr) {
        state.SkipWithError("libcrypto.so.3 is missing");
        return;
    }
    const std::vector<std::byte> data = dataOf(state);
    std::array<unsigned char, 32> digest{};
    for ([[maybe_unused]] const auto iteration : state) {
        sha256(reinterpret_cast<const unsigned char*>(data.data()), data.size(), digest.data());
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int size : {64, 4096, 1 << 20, 64 << 20}) {
        benchmark->Arg(size);
    }
}

} // namespace

BENCHMARK(measure<mos::Sha256::Implementation::Fastest>)->Name("sha256 fastest")->Apply(sizes);
BENCHMARK(measure<mos::Sha256::Implementation::Portable>)->Name("sha256 portable")->Apply(sizes);
BENCHMARK(measureOpenssl)->Name("sha256 openssl")->Apply(sizes);
