#include "semver/version_constraint.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mos {
namespace {

/// The comparators of a constraint, printed without the text it was read from.
std::string comparatorsOf(std::string_view text) {
    auto constraint = VersionConstraint::parse(text);
    if (!constraint) {
        return "none";
    }
    constraint->raw.clear();
    return constraint->to_string();
}

bool matches(std::string_view constraint, std::string_view version) {
    return VersionConstraint::parse(constraint).value().matches(Version::parse(version).value());
}

TEST(VersionConstraint, isReadIntoComparators) {
    struct Row {
        std::string_view text;
        std::string comparators;
    };
    const std::vector<Row> rows{
        {"", "*"},
        {"   ", "*"},
        {"*", "*"},
        {"* *", "*, *"},
        {"*, >=1", "*, >=1.0.0"},
        {">=1.0, <2.0", ">=1.0.0, <2.0.0"},
        {"^1.2, <1.9", "^1.2.0, <1.9.0"},
        {"^1.2 <1.9", "^1.2.0, <1.9.0"},
        {"^1.2\t\n\v\f\r,,<1.9", "^1.2.0, <1.9.0"},
        {">= 1.2.3", ">=1.2.3"},
        {">=, 1.2.3", ">=1.2.3"},
        {">=", "none"},
        {"> <1.0.0", "none"},
        {"<=1", "<=1.0.0"},
        {"<1", "<1.0.0"},
        {">1", ">1.0.0"},
        {"=1.2.3", "=1.2.3"},
        {"1.2.3", "=1.2.3"},
        {"1.2", "=1.2.0"},
        {"1", "=1.0.0"},
        {"v1.2.3", "=1.2.3"},
        {"~1", "~1.0.0"},
        {"~v1.2", "~1.2.0"},
        {"1.*", ">=1.0.0, <2.0.0"},
        {"1.*.7rubbish", ">=1.0.0, <2.0.0"},
        {"2.*", "none"},
        {"1.2.*", "none"},
        {"^1.*", "none"},
        {"x", "none"},
        {"1.2.3.4", "none"},
        {"1.2.", "none"},
        {"^", "none"},
        {"==1.0.0", "none"},
        {"=>1.0.0", "none"},
        {"1.0.0 || 2.0.0", "none"},
        {"1-rc", "none"},
        {"1-rc.1", "none"},
        {"1.2+b", "none"},
        {"^1.2.3-rc.1+b", "^1.2.3-rc.1+b"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(comparatorsOf(row.text), row.comparators) << "text: '" << row.text << "'";
    }
}

TEST(VersionConstraint, printsTheTextTheUserWroteTrimmed) {
    EXPECT_EQ(VersionConstraint::parse(" \t^1.2 \r\n")->to_string(), "^1.2");
    EXPECT_EQ(VersionConstraint::parse(">= 1.0 ,<2")->to_string(), ">= 1.0 ,<2");
    EXPECT_EQ(VersionConstraint::parse("")->to_string(), "*");
    EXPECT_EQ(VersionConstraint::any().to_string(), "*");
    EXPECT_EQ(VersionConstraint{}.to_string(), "*");
}

TEST(VersionConstraint, matchesVersions) {
    struct Row {
        std::string_view constraint;
        std::string_view version;
        bool matched;
    };
    const std::vector<Row> rows{
        {"*", "0.0.0", true},
        {"*", "1.0.0-rc", true},
        {"=1.2.3", "1.2.3", true},
        {"1.2.3", "1.2.3+build", true},
        {"1.2.3", "1.2.4", false},
        {"1.2.3", "1.2.3-rc", false},
        {"1.2.3-rc", "1.2.3-rc", true},
        {">1.2.3", "1.2.3", false},
        {">1.2.3", "1.2.4", true},
        {">=1.2.3", "1.2.3", true},
        {">=1.2.3", "1.2.2", false},
        {"<1.2.3", "1.2.2", true},
        {"<1.2.3", "1.2.3", false},
        {"<=1.2.3", "1.2.3", true},
        {"<=1.2.3", "1.2.4", false},
        {"^1.2.3", "1.2.3", true},
        {"^1.2.3", "1.99.0", true},
        {"^1.2.3", "2.0.0", false},
        {"^1.2.3", "1.2.2", false},
        {"^0.2.3", "0.2.3", true},
        {"^0.2.3", "0.2.99", true},
        {"^0.2.3", "0.3.0", false},
        {"^0.2", "0.2.9", true},
        {"^0.2", "0.3.0", false},
        {"^0.0.3", "0.0.3", true},
        {"^0.0.3", "0.0.4", false},
        {"^0.0.3", "0.0.2", false},
        {"^1", "1.0.0", true},
        {"^1", "2.0.0", false},
        {"~1.2.3", "1.2.3", true},
        {"~1.2.3", "1.2.99", true},
        {"~1.2.3", "1.3.0", false},
        {"~1.2.3", "1.2.2", false},
        {"~1", "1.0.9", true},
        {"~1", "1.1.0", false},
        {"~0.0.1", "0.0.9", true},
        {"1.*", "1.0.0", true},
        {"1.*", "1.99.0", true},
        {"1.*", "2.0.0", false},
        {">=1.0.0, <2.0.0", "1.5.0", true},
        {">=1.0.0, <2.0.0", "2.0.0", false},
        {"^1.0.0", "1.3.0-beta", false},
        {">=1.0.0", "1.3.0-beta", false},
        {">=1.0.0", "1.5.0-rc.1", false},
        {"<1.0.0", "1.0.0-beta", true},
        {"<=1.0.0", "1.0.0-beta", true},
        {"^1.0.0", "1.0.0-beta", false},
        {">=1.0.0-alpha", "1.0.0-beta", true},
        {">=1.0.0-alpha", "1.5.0", true},
        {">=1.0.0-alpha", "1.5.0-rc.1", true},
        {"^1.2.3-rc", "2.0.0-alpha", true},
        {"^1.2.3-rc", "2.0.0", false},
        {"~1.2.3-rc", "1.3.0-alpha", true},
        {"^18446744073709551615", "18446744073709551615.7.0", true},
        {"~1.18446744073709551615.0", "1.18446744073709551615.9", true},
        {"~1.18446744073709551615.0", "2.0.0", false},
        {"^0.18446744073709551615", "0.18446744073709551615.4", true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(matches(row.constraint, row.version), row.matched)
            << row.constraint << " and " << row.version;
    }
}

TEST(VersionConstraint, withoutComparatorsMatchesEverything) {
    EXPECT_TRUE(VersionConstraint{}.matches(Version{}));
}

TEST(Comparator, withAnOperatorOutsideTheEnumerationNeverMatches) {
    EXPECT_FALSE((Comparator{static_cast<ComparatorOperator>(8), {}}.matches(Version{})));
}

TEST(Comparator, printsItsSymbolAndVersion) {
    const Version version{1, 2, 3, {"rc"}, "b"};
    const std::vector<std::string> printed{
        "=1.2.3-rc+b",  ">1.2.3-rc+b", ">=1.2.3-rc+b", "<1.2.3-rc+b",
        "<=1.2.3-rc+b", "^1.2.3-rc+b", "~1.2.3-rc+b",  "*"};
    for (std::uint32_t op = 0; op < printed.size(); ++op) {
        EXPECT_EQ((Comparator{static_cast<ComparatorOperator>(op), version}.to_string()),
                  printed[op]);
    }
}

} // namespace
} // namespace mos
