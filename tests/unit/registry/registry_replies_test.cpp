#include "registry/registry_replies.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> versionTexts(std::string_view body) {
    std::vector<std::string> texts;
    for (const Version& version : parseVersions(body)) {
        texts.push_back(version.to_string());
    }
    return texts;
}

/// "name constraint" of each dependency.
std::vector<std::string> dependencyTexts(std::string_view body) {
    std::vector<std::string> texts;
    for (const auto& [name, spec] : parseDependencies(body)) {
        EXPECT_EQ(name, spec.name);
        EXPECT_EQ(spec.source, DependencySource::Registry);
        texts.push_back(name + " " + spec.constraint.to_string());
    }
    return texts;
}

/// "name|description|latest" of each result.
std::vector<std::string> resultTexts(std::string_view body) {
    std::vector<std::string> texts;
    for (const SearchResult& result : parseSearchResults(body)) {
        texts.push_back(result.name + "|" + result.description + "|" + result.latest.to_string());
    }
    return texts;
}

TEST(ParseVersions, APlainTextHasOneVersionALine) {
    EXPECT_THAT(versionTexts("1.0.0\n1.1.0\nbogus\n"), ElementsAre("1.0.0", "1.1.0"));
}

TEST(ParseVersions, LinesAreStrippedOfBlanksAndCarriageReturns) {
    EXPECT_THAT(versionTexts("\r\n  1.0.0 \r\n\n 1.1.0"), ElementsAre("1.0.0", "1.1.0"));
}

TEST(ParseVersions, ATabAtTheEndOfALineIsPartOfIt) {
    EXPECT_THAT(versionTexts("1.0.0\t\n1.1.0\n"), ElementsAre("1.1.0"));
}

TEST(ParseVersions, AJsonArrayKeepsTheOrderOfTheReply) {
    EXPECT_THAT(versionTexts(R"(["2.0.0", "1.0.0", "1.5.0-rc.1"])"),
                ElementsAre("2.0.0", "1.0.0", "1.5.0-rc.1"));
}

TEST(ParseVersions, WhatIsNoVersionIsLeftOutOfAnArray) {
    EXPECT_THAT(versionTexts(R"(["1.0.0","x"])"), ElementsAre("1.0.0"));
}

TEST(ParseVersions, AnArrayMayFollowWhiteSpace) {
    EXPECT_THAT(versionTexts(" \t\r\n[\"1.0.0\"]"), ElementsAre("1.0.0"));
}

TEST(ParseVersions, EveryQuotedStringOfAnArrayCounts) {
    EXPECT_THAT(versionTexts(R"([{"version":"1.0.0","yanked":"2.0.0"}] "3.0.0")"),
                ElementsAre("1.0.0", "2.0.0", "3.0.0"));
}

TEST(ParseVersions, AJsonObjectIsReadAsLines) {
    EXPECT_THAT(versionTexts(R"({"versions":["1.0.0"]})"), IsEmpty());
}

TEST(ParseVersions, NothingGivesNothing) {
    EXPECT_THAT(versionTexts(""), IsEmpty());
    EXPECT_THAT(versionTexts(" \n"), IsEmpty());
    EXPECT_THAT(versionTexts("[]"), IsEmpty());
}

TEST(ParsePackageInfo, TakesTheFourTextsAndTheVersions) {
    const PackageInfo info =
        parsePackageInfo(R"({"name":"json","latest":"1.2.3","description":"d","license":"MIT",)"
                         R"("versions":["1.0.0","1.2.3","odd"]})");
    EXPECT_EQ(info.name, "json");
    EXPECT_EQ(info.latest, "1.2.3");
    EXPECT_EQ(info.description, "d");
    EXPECT_EQ(info.license, "MIT");
    EXPECT_THAT(info.versions, ElementsAre("1.0.0", "1.2.3", "odd"));
}

TEST(ParsePackageInfo, WhatIsMissingIsEmpty) {
    const PackageInfo info = parsePackageInfo("{}");
    EXPECT_EQ(info.name + info.latest + info.description + info.license, "");
    EXPECT_THAT(info.versions, IsEmpty());
}

TEST(ParseChecksum, GetsItsPrefixOnce) {
    EXPECT_EQ(parseChecksum(R"({"checksum":"abc"})"), "sha256:abc");
    EXPECT_EQ(parseChecksum(R"({"checksum":"sha256:abc"})"), "sha256:abc");
    EXPECT_EQ(parseChecksum(R"({"checksum":""})"), "");
    EXPECT_EQ(parseChecksum("{}"), "");
}

TEST(ParseDependencies, KeepTheOrderOfTheReply) {
    EXPECT_THAT(dependencyTexts(R"({"dependencies":[{"name":"z","constraint":"^1.0"},)"
                                R"({"constraint":">=2.0, <3.0","name":"a"}]})"),
                ElementsAre("z ^1.0", "a >=2.0, <3.0"));
}

TEST(ParseDependencies, AMissingConstraintIsAny) {
    EXPECT_THAT(dependencyTexts(R"({"dependencies":[{"name":"a"}]})"), ElementsAre("a *"));
}

TEST(ParseDependencies, AConstraintThatDoesNotParseIsAny) {
    EXPECT_THAT(dependencyTexts(R"({"dependencies":[{"name":"a","constraint":"what?"}]})"),
                ElementsAre("a *"));
}

TEST(ParseDependencies, OfTwoEntriesOfOneNameTheLastCountsInTheFirstOnesPlace) {
    EXPECT_THAT(dependencyTexts(R"({"dependencies":[{"name":"a","constraint":"^1.0"},{"name":"b"},)"
                                R"({"name":"a","constraint":"^2.0"}]})"),
                ElementsAre("a ^2.0", "b *"));
}

TEST(ParseDependencies, ANestedObjectCutsItsDependency) {
    EXPECT_THAT(dependencyTexts(
                    R"({"dependencies":[{"name":"a","features":{"x":"y"},"constraint":"^1.0"}]})"),
                ElementsAre("a *"));
}

TEST(ParseDependencies, AreNoneWithoutAList) {
    EXPECT_THAT(dependencyTexts(R"({"name":"a"})"), IsEmpty());
    EXPECT_THAT(dependencyTexts(R"({"dependencies":[]})"), IsEmpty());
    EXPECT_THAT(dependencyTexts(R"({"dependencies":[{"name":"a"})"), IsEmpty());
}

TEST(ParseSearchResults, OnePerObject) {
    EXPECT_THAT(resultTexts(R"([{"name":"a","description":"d","latest":"1.0.0"},)"
                            R"({"name":"b","latest":"2.0.0"}])"),
                ElementsAre("a|d|1.0.0", "b||2.0.0"));
}

TEST(ParseSearchResults, ALatestThatDoesNotParseIsZero) {
    EXPECT_THAT(resultTexts(R"([{"name":"a","latest":"newest"},{"name":"b"}])"),
                ElementsAre("a||0.0.0", "b||0.0.0"));
}

TEST(ParseSearchResults, AnEnclosingObjectBelongsToItsFirstResult) {
    EXPECT_THAT(resultTexts(R"({"packages":[{"name":"a","latest":"1.0.0"},)"
                            R"({"name":"b","latest":"2.0.0"}]})"),
                ElementsAre("a||1.0.0", "b||2.0.0"));
}

TEST(DescribeFailure, TheErrorTextComesFirst) {
    EXPECT_EQ(describeFailure(R"({"error":"name taken"})", 409), "name taken");
}

TEST(DescribeFailure, AShortBodyIsTheTextItself) {
    const std::string body(50, 'x');
    EXPECT_EQ(describeFailure(body, 403), body);
    EXPECT_EQ(describeFailure("x", 403), "x");
    const std::string longest(299, 'x');
    EXPECT_EQ(describeFailure(longest, 403), longest);
}

TEST(DescribeFailure, AnEmptyOrLongBodyGivesTheStatus) {
    EXPECT_EQ(describeFailure("", 500), "HTTP 500");
    EXPECT_EQ(describeFailure(std::string(300, 'x'), 502), "HTTP 502");
}

TEST(DescribeFailure, AnEmptyErrorTextDoesNotCount) {
    EXPECT_EQ(describeFailure(R"({"error":""})", 409), R"({"error":""})");
}

} // namespace
} // namespace mos
