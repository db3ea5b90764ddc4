#include "resolver/version_search.h"

#include <gtest/gtest.h>

#include "resolver/package_families.h"
#include "resolver/universe.h"

namespace mos {
namespace {

struct Found {
    bool solved;
    std::string selections; ///< "name version" lines
    VersionSearch::Effort effort;
};

Found search(IPackageSource& source, const Manifest& manifest,
             std::size_t nogoodCapacity = VersionSearch::usualCapacity) {
    PackageCatalog catalog(source);
    VersionSearch versions(catalog, "app", manifest.dependencies, {}, nogoodCapacity);
    Found found{versions.run(), {}, versions.effort()};
    const PartialAssignment& selections = versions.selections();
    for (std::size_t level = 1; level <= selections.depth(); ++level) {
        const CatalogPackage& package = selections.packageAt(level);
        found.selections += package.name + " " + selections.versionOf(package).to_string() + "\n";
    }
    return found;
}

Found searchIn(const std::string& universe, const std::string& dependencies) {
    Universe source(universe);
    return search(source, projectWith(dependencies));
}

// The example of docs/resolver.md.
TEST(VersionSearch, jumpsBackOverSelectionsThatHadNoPartInAConflict) {
    const Found found = searchIn("web 2.0.0 log:* json:^2\n"
                                 "web 1.0.0 log:* json:^1\n"
                                 "theme 3.0.0\ntheme 2.0.0\ntheme 1.0.0\n"
                                 "auth 2.0.0 json:^1\nauth 1.0.0 json:^1\n"
                                 "log 1.1.0\nlog 1.0.0\n"
                                 "json 2.0.0\njson 1.4.0",
                                 "web:* theme:* auth:*");
    EXPECT_TRUE(found.solved);
    EXPECT_EQ(found.selections, "web 1.0.0\ntheme 3.0.0\nauth 2.0.0\nlog 1.1.0\njson 1.4.0\n");
    EXPECT_EQ(found.effort.conflicts, 3U);
    EXPECT_EQ(found.effort.selections, 10U);
    EXPECT_EQ(found.effort.levelsPassedOver, 2U);
}

TEST(VersionSearch, makesNoMoreAttemptsWithMorePackagesInBetween) {
    std::string universe = "web 2.0.0 json:^2\nweb 1.0.0 json:^1\n"
                           "auth 2.0.0 json:^1\nauth 1.0.0 json:^1\njson 2.0.0\njson 1.4.0\n";
    std::string dependencies = "web:*";
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
        for (int version = 1; version <= 8; ++version) {
            universe += std::string(name) + " " + std::to_string(version) + ".0.0\n";
        }
        dependencies += std::string(" ") + name + ":*";
    }
    const Found found = searchIn(universe, dependencies + " auth:*");
    EXPECT_TRUE(found.solved);
    EXPECT_EQ(found.effort.conflicts, 3U);
    EXPECT_EQ(found.effort.levelsPassedOver, 8U);
}

TEST(VersionSearch, noticesADemandThatCannotBeMetBeforeTheQueueComesToIt) {
    // Without looking ahead b, c and d would be selected before the demand of a 2.0.0 is met.
    const Found found =
        searchIn("a 2.0.0 first:^2\na 1.0.0\nfirst 1.0.0\nb 1.0.0\nc 1.0.0\nd 1.0.0",
                 "first:* a:* b:* c:* d:*");
    EXPECT_EQ(found.selections, "first 1.0.0\na 1.0.0\nb 1.0.0\nc 1.0.0\nd 1.0.0\n");
    EXPECT_EQ(found.effort.selections, 6U);
    EXPECT_EQ(found.effort.conflicts, 1U);
}

TEST(VersionSearch, usesANogoodAgainWhenItsOtherSelectionsComeBack) {
    // The conflict of x and y is met first; then that of r and w undoes t, and x and y come back.
    const Found found = searchIn("t 2.0.0 r:*\nt 1.0.0\nr 1.0.0 q:^2\n"
                                 "x 1.0.0 z:^1\n"
                                 "y 2.0.0 z:^2\ny 1.0.0\n"
                                 "z 2.0.0\nz 1.0.0\n"
                                 "w 1.0.0 q:^1\nq 2.0.0\nq 1.0.0",
                                 "t:* x:* y:* w:*");
    EXPECT_EQ(found.selections, "t 1.0.0\nx 1.0.0\ny 1.0.0\nw 1.0.0\nz 1.0.0\nq 1.0.0\n");
    // Once for y when x is back, once for r when w is.
    EXPECT_EQ(found.effort.nogoodsAgain, 2U);
}

TEST(VersionSearch, makesFewAttemptsInFamiliesThatDefeatPlainBacktracking) {
    struct Row {
        std::string name;
        PublishedFamily family;
        bool solved;
        std::size_t mostSelections;
    };
    std::vector<Row> rows{
        {"independent", independent(50, 20, false), false, 200},
        {"independent, solvable", independent(50, 20, true), true, 200},
        {"chained", chained(50, 20, false), false, 1000},
        {"chained, solvable", chained(50, 20, true), true, 1100},
        {"entangled", entangled(50, 20, false), false, 3000},
        {"entangled, solvable", entangled(50, 20, true), true, 3000},
    };
    for (Row& row : rows) {
        const Found found = search(row.family, row.family.project);
        EXPECT_EQ(found.solved, row.solved) << row.name;
        EXPECT_LE(found.effort.selections, row.mostSelections) << row.name;
        const Found again = search(row.family, row.family.project, 1000);
        EXPECT_EQ(again.selections, found.selections) << row.name << ", forgetting nogoods";
    }
}

TEST(VersionSearch, makesFewAttemptsInARealisticUniverse) {
    PublishedFamily family = realistic(1000, 20, 20);
    const Found found = search(family, family.project);
    EXPECT_TRUE(found.solved);
    EXPECT_GT(found.effort.conflicts, 10U);
    EXPECT_LE(found.effort.selections, 10000U);
}

} // namespace
} // namespace mos
