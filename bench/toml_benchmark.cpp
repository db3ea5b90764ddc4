#include <benchmark/benchmark.h>

#include <string>

#include "manifest/toml_reader.h"

namespace mos {
namespace {

void readDocument(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(parse(text, nullptr));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// A table of many entries.
void readTable(benchmark::State& state) {
    std::string text = "[dependencies]\n";
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        text += "package-" + std::to_string(i) + " = { version = \"^1.2\", git = \"u\" }\n";
    }
    readDocument(state, text);
}

/// Arrays nested as deeply as told.
void readNestedArrays(benchmark::State& state) {
    const auto depth = static_cast<std::size_t>(state.range(0));
    readDocument(state, "x = " + std::string(depth, '[') + std::string(depth, ']') + "\n");
}

BENCHMARK(readTable)->Arg(50)->Arg(5000)->Arg(500000);
BENCHMARK(readNestedArrays)->Arg(500)->Arg(5000)->Arg(50000)->Arg(500000);

} // namespace
} // namespace mos
