#include "resolver/package_catalog.h"

#include <gtest/gtest.h>

#include "resolver/universe.h"

namespace mos {
namespace {

std::vector<std::string> texts(const std::vector<Version>& versions) {
    std::vector<std::string> found;
    for (const Version& version : versions) {
        found.push_back(version.to_string());
    }
    return found;
}

TEST(PackageCatalog, listsVersionsInDescendingOrderAndEqualOnesAsTheReplyDoes) {
    Universe source("p 1.0.0+b\np 2.0.0\np 1.0.0+a\np 1.0.0+b\np 1.0.0-rc");
    PackageCatalog catalog(source);
    CatalogPackage& package = catalog.package("p");
    EXPECT_EQ(texts(catalog.versionsOf(package)),
              (std::vector<std::string>{"2.0.0", "1.0.0+b", "1.0.0+a", "1.0.0+b", "1.0.0-rc"}));
    EXPECT_FALSE(package.isRepeated(2));
    EXPECT_TRUE(package.isRepeated(3));
}

TEST(PackageCatalog, asksEveryQuestionOnce) {
    Universe source("p 1.0.0\np 1.0.0\np 0.9.0 !");
    PackageCatalog catalog(source);
    CatalogPackage& package = catalog.package("p");
    const Version missing = Version::parse("0.9.0").value();
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(catalog.metadataOfLocked(package, missing), nullptr);
        catalog.versionsOf(package);
        EXPECT_EQ(catalog.metadataOf(package, 1), catalog.metadataOf(package, 0));
        EXPECT_EQ(catalog.metadataOf(package, 2), nullptr);
    }
    EXPECT_EQ(source.questions,
              (std::map<std::string, int>{{"p", 1}, {"p 0.9.0", 1}, {"p 1.0.0", 1}}));
}

TEST(PackageCatalog, leavesInWhatCannotBeCompared) {
    Universe source("p 3.0.0\np 1.0.0-5\np 0.1.0");
    PackageCatalog catalog(source);
    const auto constraint = VersionConstraint::parse(">=1.0.0-99999999999999999999999 <2").value();
    Requirement& requirement = catalog.demandOfProject("p", constraint).requirement;
    catalog.versionsOf(requirement.package);
    const VersionSet& excluded = PackageCatalog::excludedBy(requirement);
    EXPECT_TRUE(excluded.contains(0));
    EXPECT_FALSE(excluded.contains(1));
    EXPECT_TRUE(excluded.contains(2));
    EXPECT_FALSE(requirement.comparable);
}

TEST(PackageCatalog, excludesWhatEachVersionAskedForItselfDoesNotMatch) {
    const std::vector<std::string> published{
        "3.0.0", "2.1.0", "2.0.0",      "2.0.0+b",       "2.0.0-rc.1", "2.0.0-rc",
        "1.9.9", "1.2.0", "1.2.0-beta", "1.0.0",         "1.0.0-1",    "0.9.0",
        "0.2.1", "0.2.0", "0.1.0",      "0.1.0-alpha.2", "0.0.3",      "0.0.3-x"};
    std::string lines;
    for (const std::string& version : published) {
        lines += "p " + version + "\n";
    }
    Universe source(lines);
    PackageCatalog catalog(source);
    for (const std::string bound : {"3.0.1", "3.0.0", "2.0.0", "2.0.0-rc", "1.5.0", "1.2.0",
                                    "0.2.0", "0.0.3", "0.0.2", "0.0.3-a"}) {
        for (const std::string text :
             {"=", ">", ">=", "<", "<=", "^", "~", "<3.0.0, >=", "^1 <", ">2.5.0 <", "* "}) {
            const auto constraint = VersionConstraint::parse(text + bound).value();
            Requirement& requirement = catalog.demandOfProject("p", constraint).requirement;
            const std::vector<Version>& versions = catalog.versionsOf(requirement.package);
            const VersionSet& excluded = PackageCatalog::excludedBy(requirement);
            for (std::size_t place = 0; place < versions.size(); ++place) {
                EXPECT_EQ(excluded.contains(place), !constraint.matches(versions[place]))
                    << constraint.raw << ": " << versions[place].to_string();
            }
        }
    }
}

TEST(PackageCatalog, excludesEverythingByAnOperatorOutsideTheEnumeration) {
    Universe source("p 1.0.0\np 1.0.0-rc");
    PackageCatalog catalog(source);
    const VersionConstraint constraint{{{static_cast<ComparatorOperator>(8), {}}}, {}};
    Requirement& requirement = catalog.demandOfProject("p", constraint).requirement;
    catalog.versionsOf(requirement.package);
    EXPECT_TRUE(PackageCatalog::excludedBy(requirement).includes(VersionSet::below(2)));
}

} // namespace
} // namespace mos
