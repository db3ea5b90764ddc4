#include <benchmark/benchmark.h>

#include <string>

#include "resolver/resolver.h"

namespace mos {
namespace {

DependencySpec anyVersionOf(std::string name) {
    DependencySpec spec;
    spec.name = std::move(name);
    return spec;
}

/// Packages p0, p1, ... of one version each. In a chain each needs the next.
class Packages : public IPackageSource {
public:
    Packages(std::size_t packageCount, bool isChain) : count(packageCount), chain(isChain) {}

    std::vector<Version> availableVersions(const std::string& /*name*/) override {
        return {Version{1, 0, 0, {}, {}}};
    }

    VersionMetadata versionMetadata(const std::string& name, const Version& /*version*/) override {
        VersionMetadata metadata;
        metadata.found = true;
        const std::size_t next = std::stoul(name.substr(1)) + 1;
        if (chain && next < count) {
            DependencySpec spec = anyVersionOf("p" + std::to_string(next));
            std::string key = spec.name;
            metadata.dependencies.assign(std::move(key), std::move(spec));
        }
        return metadata;
    }

private:
    std::size_t count;
    bool chain;
};

Manifest projectNeeding(std::size_t packages) {
    Manifest manifest;
    manifest.name = "app";
    for (std::size_t i = 0; i < packages; ++i) {
        DependencySpec spec = anyVersionOf("p" + std::to_string(i));
        std::string key = spec.name;
        manifest.dependencies.assign(std::move(key), std::move(spec));
    }
    return manifest;
}

/// Direct dependencies; time a package must not grow with their number.
void resolveDirectDependencies(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Manifest manifest = projectNeeding(count);
    Packages source(count, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Resolver::resolve(source, manifest, nullptr, true));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// A chain, each package needing the next; time a package must not grow with its length.
void resolveChain(benchmark::State& state) {
    const Manifest manifest = projectNeeding(1);
    Packages source(static_cast<std::size_t>(state.range(0)), true);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Resolver::resolve(source, manifest, nullptr, true));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(resolveDirectDependencies)
    ->Arg(500)
    ->Arg(5000)
    ->Arg(50000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(resolveChain)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace mos
