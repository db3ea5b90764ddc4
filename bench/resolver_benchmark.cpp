// Every row resolves a family of packages in memory. Beside the time stands that of the look-ups
// alone: the same questions, asked once more without resolving. Both are processor time.
#include <benchmark/benchmark.h>

#include <ctime>
#include <utility>

#include "cli/mos_exception.h"
#include "resolver/package_families.h"
#include "resolver/resolver.h"

namespace mos {
namespace {

double millisecondsSince(std::clock_t start) {
    return 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void resolve(benchmark::State& state, PublishedFamily family) {
    double lookups = 0;
    double total = 0;
    for ([[maybe_unused]] const auto iteration : state) {
        family.questions.clear();
        const auto start = std::clock();
        try {
            benchmark::DoNotOptimize(Resolver::resolve(family, family.project, nullptr, true));
        } catch (const MosException& exception) {
            benchmark::DoNotOptimize(&exception);
        }
        total += millisecondsSince(start);
        state.PauseTiming();
        const auto again = std::clock();
        family.answerAgain();
        lookups += millisecondsSince(again);
        state.ResumeTiming();
    }
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["questions"] = static_cast<double>(family.questions.size());
    state.counters["lookups_ms"] = lookups / rounds;
    state.counters["beyond_ms"] = (total - lookups) / rounds;
    state.counters["ratio"] = total / lookups;
}

void directly(benchmark::State& state) {
    resolve(state, directDependencies(static_cast<std::size_t>(state.range(0))));
}

void inAChain(benchmark::State& state) {
    resolve(state, chain(static_cast<std::size_t>(state.range(0))));
}

void ofAPopularOne(benchmark::State& state) {
    resolve(state, popular(static_cast<std::size_t>(state.range(0))));
}

void realistically(benchmark::State& state) {
    resolve(state, realistic(static_cast<std::size_t>(state.range(0)), 20, 20));
}

template<PublishedFamily (*family)(std::size_t, std::size_t, bool)>
void adversarial(benchmark::State& state) {
    resolve(state, family(50, 20, state.range(0) != 0));
}

constexpr auto unit = benchmark::kMillisecond;

// The time for a package must not grow with the number of packages.
BENCHMARK(directly)->Name("resolver direct")->Arg(500)->Arg(5000)->Arg(50000)->Unit(unit);
BENCHMARK(inAChain)->Name("resolver chain")->Arg(2000)->Arg(20000)->Arg(100000)->Unit(unit);
BENCHMARK(ofAPopularOne)->Name("resolver popular")->Arg(200)->Arg(2000)->Arg(20000)->Unit(unit);
BENCHMARK(realistically)->Name("resolver realistic")->Arg(100)->Arg(1000)->Arg(4000)->Unit(unit);
// Without and with a solution.
BENCHMARK(adversarial<independent>)->Name("resolver independent")->Arg(0)->Arg(1)->Unit(unit);
BENCHMARK(adversarial<chained>)->Name("resolver chained")->Arg(0)->Arg(1)->Unit(unit);
BENCHMARK(adversarial<entangled>)->Name("resolver entangled")->Arg(0)->Arg(1)->Unit(unit);

} // namespace
} // namespace mos
