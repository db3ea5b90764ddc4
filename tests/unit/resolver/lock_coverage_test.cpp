#include "resolver/lock_coverage.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "resolver/resolved_packages.h"

namespace mos {
namespace {

DependencyTable needs(const std::vector<std::pair<std::string, std::string>>& constraints) {
    DependencyTable table;
    for (const auto& [name, text] : constraints) {
        DependencySpec spec;
        spec.name = name;
        spec.constraint = VersionConstraint::parse(text).value();
        table.assign(name, std::move(spec));
    }
    return table;
}

/// The gap as text; "none" without one.
std::string gap(const DependencyTable& dependencies, const std::vector<ResolvedPackage>& packages) {
    return gapInLock(dependencies, Lockfile{1, packages}).value_or("none");
}

TEST(LockCoverage, hasNoGapWhenEverythingIsLocked) {
    EXPECT_EQ(gap({}, {}), "none");
    EXPECT_EQ(gap(needs({{"json", "^1.2"}}),
                  {package("json", "1.4.0", {"text"}), package("text", "0.1.0")}),
              "none");
}

TEST(LockCoverage, allowsPackagesThatNobodyNeeds) {
    EXPECT_EQ(gap({}, {package("spare", "1.0.0")}), "none");
}

TEST(LockCoverage, allowsPackagesThatNeedEachOther) {
    EXPECT_EQ(
        gap(needs({{"a", "*"}}), {package("a", "1.0.0", {"b"}), package("b", "1.0.0", {"a"})}),
        "none");
}

TEST(LockCoverage, namesADependencyThatIsNotLocked) {
    EXPECT_EQ(gap(needs({{"json", "*"}}), {}), "json is not locked");
    EXPECT_EQ(gap(needs({{"json", "*"}}), {package("Json", "1.0.0")}), "json is not locked");
}

TEST(LockCoverage, namesAVersionThatTheConstraintDoesNotAllow) {
    EXPECT_EQ(gap(needs({{"json", " ^2 "}}), {package("json", "1.2.0")}),
              "json 1.2.0 does not satisfy ^2");
    EXPECT_EQ(gap(needs({{"json", "1.2.0"}}), {package("json", "1.2.0-rc.1+b")}),
              "json 1.2.0-rc.1+b does not satisfy 1.2.0");
    EXPECT_EQ(gap(needs({{"json", "1.2.0"}}), {package("json", "1.2.0+b")}), "none");
}

TEST(LockCoverage, namesWhatALockedPackageNeeds) {
    EXPECT_EQ(gap({}, {package("json", "1.0.0", {"zip", "util", "json"})}),
              "json needs util, which is not locked");
}

TEST(LockCoverage, reportsTheFirstNameInByteOrder) {
    const auto dependencies = needs({{"b", "^2"}, {"a", "*"}, {"Z", "*"}});
    const ResolvedPackage b = package("b", "1.0.0");
    EXPECT_EQ(gap(dependencies, {b}), "Z is not locked");
    EXPECT_EQ(gap(dependencies, {b, package("Z", "1.0.0")}), "a is not locked");
    EXPECT_EQ(gap(dependencies, {b, package("Z", "1.0.0"), package("a", "1.0.0", {"b", "c"})}),
              "a needs c, which is not locked");
    EXPECT_EQ(gap(dependencies, {b, package("Z", "1.0.0"), package("a", "1.0.0", {"b"})}),
              "b 1.0.0 does not satisfy ^2");
}

TEST(LockCoverage, reportsTheVersionOfAPackageBeforeItsNeeds) {
    EXPECT_EQ(gap(needs({{"a", "^2"}}), {package("a", "1.0.0", {"x"})}),
              "a 1.0.0 does not satisfy ^2");
}

} // namespace
} // namespace mos
