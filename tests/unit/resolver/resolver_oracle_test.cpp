// The resolver beside the plain search, on universes drawn at random. The suite draws some; with
// MOS_UNIVERSES in the environment as many as that says, which is how a change to the search is
// examined (CONTRIBUTING.md).
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <set>

#include "cli/mos_exception.h"
#include "resolver/last_attempt.h"
#include "resolver/plain_resolver.h"
#include "resolver/random_universe.h"
#include "resolver/resolver.h"
#include "resolver/universe.h"
#include "resolver/version_search.h"

namespace mos {
namespace {

// What the plain search cannot finish is left out; it is less than one case in a hundred.
constexpr std::size_t mostSteps = 5000;

unsigned long numberFrom(const char* variable, unsigned long otherwise) {
    const char* text = std::getenv(variable);
    return text == nullptr ? otherwise : std::stoul(text);
}

/// The result of the resolver as the plain search writes it.
std::string resolved(IPackageSource& source, const Manifest& manifest, const Lockfile& lockfile) {
    try {
        const Resolution resolution = Resolver::resolve(source, manifest, &lockfile, true);
        std::string text;
        for (const auto& [name, package] : resolution.packages) {
            if (package.isRoot) {
                continue;
            }
            text += name + " " + package.version.to_string() + " " + package.checksum + ":";
            for (const std::string& dependency : package.dependencies) {
                text += " " + dependency;
            }
            text += "\n";
        }
        return text;
    } catch (const MosException& exception) {
        return "error: " + exception.message;
    }
}

struct Tally {
    unsigned long solved = 0;
    unsigned long failed = 0;
    unsigned long tooLong = 0;
    unsigned long withConflicts = 0;
    unsigned long withLevelsPassedOver = 0;
    unsigned long withNogoodsAgain = 0;
    std::size_t plainQuestions = 0;
    std::size_t questions = 0;
};

/// Searches once more, with memory for hardly any nogood, to see that forgetting them changes
/// nothing, and adds what the search has cost.
void searchForgetfully(const RandomCase& drawn, const Manifest& manifest,
                       const std::string& expected, Tally& tally) {
    Universe source(drawn.universe);
    PackageCatalog catalog(source);
    VersionSearch search(catalog, manifest.name, manifest.dependencies, {}, tally.solved % 1000);
    const bool solved = search.run();
    if (drawn.lockfile.packages.empty()) {
        std::string text;
        for (std::size_t level = 1; solved && level <= search.selections().depth(); ++level) {
            const CatalogPackage& package = search.selections().packageAt(level);
            const CatalogMetadata& metadata = search.selections().metadataAt(level);
            text += package.name + " " + search.selections().versionOf(package).to_string() + " " +
                    metadata.checksum + ":";
            for (const Demand* demand : metadata.demands) {
                text += " " + demand->requirement.package.name;
            }
            text += "\n";
        }
        ASSERT_EQ(solved, !expected.starts_with("error"));
        ASSERT_TRUE(!solved || text == expected);
    }
    const VersionSearch::Effort& effort = search.effort();
    tally.withConflicts += effort.conflicts > 0 ? 1 : 0;
    tally.withLevelsPassedOver += effort.levelsPassedOver > 0 ? 1 : 0;
    tally.withNogoodsAgain += effort.nogoodsAgain > 0 ? 1 : 0;
}

TEST(ResolverOracle, answersLikeThePlainSearch) {
    const unsigned long rounds = numberFrom("MOS_UNIVERSES", 3000);
    const auto seed = static_cast<unsigned>(numberFrom("MOS_UNIVERSES_SEED", 1));
    RandomUniverses universes(seed);
    Tally tally;
    while (tally.solved + tally.failed < rounds) {
        const RandomCase drawn = universes.next();
        const Manifest manifest = projectWith(drawn.dependencies);
        Universe plainSource(drawn.universe);
        const std::optional<std::string> expected =
            PlainResolver::resolve(plainSource, manifest, &drawn.lockfile, mostSteps);
        if (!expected) {
            ++tally.tooLong;
            continue;
        }
        Universe source(drawn.universe);
        const std::string shown = "seed " + std::to_string(seed) + ", universe:\n" +
                                  drawn.universe + "project:" + drawn.dependencies +
                                  "\nlocked: " + drawn.lockfile.toString();
        ASSERT_EQ(resolved(source, manifest, drawn.lockfile), *expected) << shown;
        for (const auto& [question, times] : source.questions) {
            ASSERT_EQ(times, 1) << question << " was asked again, " << shown;
            ASSERT_TRUE(plainSource.questions.contains(question))
                << question << " need not be asked, " << shown;
        }
        expected->starts_with("error") ? ++tally.failed : ++tally.solved;
        tally.questions += source.questions.size();
        tally.plainQuestions += plainSource.questions.size();
        ASSERT_NO_FATAL_FAILURE(searchForgetfully(drawn, manifest, *expected, tally)) << shown;
    }
    std::cout << "solved " << tally.solved << ", failed " << tally.failed << ", too long "
              << tally.tooLong << "; with conflicts " << tally.withConflicts
              << ", with levels passed over " << tally.withLevelsPassedOver
              << ", with nogoods used again " << tally.withNogoodsAgain << "; questions "
              << tally.questions << " of " << tally.plainQuestions << "\n";
    EXPECT_GT(tally.solved, rounds / 10);
    EXPECT_GT(tally.failed, rounds / 10);
    EXPECT_LT(tally.tooLong, rounds / 100);
    EXPECT_GT(tally.withLevelsPassedOver, rounds / 50);
    EXPECT_GT(tally.withNogoodsAgain, rounds / 50);
}

} // namespace
} // namespace mos
