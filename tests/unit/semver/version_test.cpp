#include "semver/version.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

namespace mos {
namespace {

std::string roundTrip(std::string_view text) {
    const auto version = Version::parse(text);
    return version ? version->to_string() : "none";
}

Version v(std::string_view text) {
    return Version::parse(text).value();
}

TEST(Version, isReadAndPrintedCanonically) {
    struct Row {
        std::string_view text;
        std::string printed;
    };
    const std::vector<Row> rows{
        {"1.2.3", "1.2.3"},
        {"v1.2.3", "1.2.3"},
        {"V1.2.3", "1.2.3"},
        {"vv1.2.3", "none"},
        {" \t\r\n1.2.3", "1.2.3"},
        {"\v1.2.3", "none"},
        {"1.2.3 ", "none"},
        {"1.2.3\n", "none"},
        {"", "none"},
        {" \t\r\n", "none"},
        {"v", "none"},
        {"1", "none"},
        {"1.0", "none"},
        {"1.0.0.0", "none"},
        {"1.x.0", "none"},
        {"1..0", "none"},
        {".1.0", "none"},
        {"1.0.", "none"},
        {"-1.0.0", "none"},
        {"+1.0.0", "none"},
        {"1.+2.3", "none"},
        {"01.002.3", "1.2.3"},
        {"18446744073709551615.0.0", "18446744073709551615.0.0"},
        {"18446744073709551616.0.0", "none"},
        {"0.0.000000000000000000000000000001", "0.0.1"},
        {"1.2.3-rc.1+build.5", "1.2.3-rc.1+build.5"},
        {"1.2.3+b-1", "1.2.3+b-1"},
        {"1.2.3+b+c", "1.2.3+b+c"},
        {"1.2.3+", "1.2.3"},
        {"1.2.3-", "1.2.3-"},
        {"1.2.3-a..b", "1.2.3-a..b"},
        {"1.2.3-a-b", "1.2.3-a-b"},
        {"1.2.3-rc 1", "1.2.3-rc 1"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(roundTrip(row.text), row.printed) << "text: '" << row.text << "'";
    }
}

TEST(Version, keepsEmptyPrereleaseIdentifiers) {
    EXPECT_EQ(v("1.0.0-").prerelease, (std::vector<std::string>{""}));
    EXPECT_EQ(v("1.0.0-a..b").prerelease, (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(v("1.2.3-rc.1+build.5").prerelease, (std::vector<std::string>{"rc", "1"}));
    EXPECT_EQ(v("1.2.3-rc.1+build.5").build, "build.5");
}

TEST(Version, cutsTheBuildOffFirst) {
    EXPECT_EQ(v("1.2.3+b-1").build, "b-1");
    EXPECT_TRUE(v("1.2.3+b-1").prerelease.empty());
}

TEST(Version, isZeroByDefault) {
    EXPECT_EQ(Version{}.to_string(), "0.0.0");
}

TEST(Version, isOrderedByPrecedence) {
    // An empty identifier is not numeric, hence above every number.
    const std::vector<std::string_view> ascending{"0.0.0",
                                                  "0.0.1",
                                                  "0.1.0",
                                                  "1.0.0-0",
                                                  "1.0.0-1",
                                                  "1.0.0-2",
                                                  "1.0.0-10",
                                                  "1.0.0-10.0",
                                                  "1.0.0-",
                                                  "1.0.0-A",
                                                  "1.0.0-alpha",
                                                  "1.0.0-alpha.1",
                                                  "1.0.0-alpha.beta",
                                                  "1.0.0-alphabet",
                                                  "1.0.0-beta",
                                                  "1.0.0-beta.2",
                                                  "1.0.0-beta.11",
                                                  "1.0.0-rc.1",
                                                  "1.0.0-\xC3\xA4",
                                                  "1.0.0",
                                                  "1.9.9",
                                                  "2.0.0-rc.1",
                                                  "2.0.0",
                                                  "10.0.0"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(v(ascending[i]) < v(ascending[j]), i < j)
                << ascending[i] << " < " << ascending[j];
            EXPECT_EQ(v(ascending[i]) <= v(ascending[j]), i <= j)
                << ascending[i] << " <= " << ascending[j];
            EXPECT_EQ(v(ascending[i]) > v(ascending[j]), i > j)
                << ascending[i] << " > " << ascending[j];
            EXPECT_EQ(v(ascending[i]) >= v(ascending[j]), i >= j)
                << ascending[i] << " >= " << ascending[j];
            EXPECT_EQ(v(ascending[i]) == v(ascending[j]), i == j)
                << ascending[i] << " == " << ascending[j];
        }
    }
}

TEST(Version, ignoresTheBuildInComparisons) {
    EXPECT_TRUE(v("1.0.0+x") == v("1.0.0"));
    EXPECT_TRUE(v("1.0.0+a") == v("1.0.0+b"));
    EXPECT_FALSE(v("1.0.0+x") < v("1.0.0"));
    EXPECT_FALSE(v("1.0.0") < v("1.0.0+x"));
}

TEST(Version, comparesNumericIdentifiersAsNumbers) {
    EXPECT_TRUE(v("1.0.0-01") == v("1.0.0-1"));
    EXPECT_TRUE(v("1.0.0-9") < v("1.0.0-18446744073709551615"));
}

TEST(Version, raisesOutOfRangeForNumericIdentifiersBeyond64Bits) {
    EXPECT_THROW(static_cast<void>(v("1.0.0-18446744073709551616") < v("1.0.0-1")),
                 std::out_of_range);
    EXPECT_THROW(static_cast<void>(v("1.0.0-1") == v("1.0.0-18446744073709551616")),
                 std::out_of_range);
    EXPECT_TRUE(v("1.0.0-18446744073709551616") < v("1.0.0-a"));
    EXPECT_TRUE(v("1.0.0-a.18446744073709551616") < v("1.0.0-b.1"));
}

} // namespace
} // namespace mos
