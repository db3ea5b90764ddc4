#include "registry/json_scanner.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(QuotedStrings, AreTakenInOrder) {
    EXPECT_THAT(quotedStrings(R"(["a", "b" ,x"c"])"), ElementsAre("a", "b", "c"));
}

TEST(QuotedStrings, MayBeEmpty) {
    EXPECT_THAT(quotedStrings(R"("","")"), ElementsAre("", ""));
}

TEST(QuotedStrings, AnUnfinishedOneIsLeftOut) {
    EXPECT_THAT(quotedStrings(R"("a","b)"), ElementsAre("a"));
}

TEST(QuotedStrings, AnEscapedQuotationMarkEndsOne) {
    EXPECT_THAT(quotedStrings(R"("a\"b")"), ElementsAre(R"(a\)"));
}

TEST(ListUnderKey, IsWhatStandsBetweenTheNextBrackets) {
    EXPECT_EQ(listUnderKey(R"({"a":["x"],"b":["y","z"],"c":[]})", "b"), R"("y","z")");
}

TEST(ListUnderKey, EndsAtTheFirstClosingBracket) {
    EXPECT_EQ(listUnderKey(R"({"a":[[1],[2]]})", "a"), "[1");
}

TEST(ListUnderKey, MayBelongToALaterKey) {
    EXPECT_EQ(listUnderKey(R"({"a":null,"b":["y"]})", "a"), R"("y")");
}

TEST(ListUnderKey, IsEmptyWhenAPieceIsMissing) {
    EXPECT_EQ(listUnderKey(R"({"b":["y"]})", "a"), "");
    EXPECT_EQ(listUnderKey(R"(["y"],{"a":1})", "a"), "");
    EXPECT_EQ(listUnderKey(R"({"a":["y")", "a"), "");
}

TEST(Objects, AreCutAtTheFirstClosingBrace) {
    EXPECT_THAT(objects(R"([{"a":1},{"b":{"c":2},"d":3},{}])"),
                ElementsAre(R"("a":1)", R"("b":{"c":2)", ""));
}

TEST(Objects, AnUnfinishedOneIsLeftOut) {
    EXPECT_THAT(objects("{a}{b"), ElementsAre("a"));
    EXPECT_THAT(objects("}a{"), IsEmpty());
}

TEST(Scanners, TakeNoMoreThanAMillionPieces) {
    std::string text;
    for (std::size_t i = 0; i <= mostPieces; ++i) {
        text += "{}";
    }
    EXPECT_EQ(objects(text).size(), mostPieces);
    EXPECT_EQ(quotedStrings(std::string(2 * mostPieces + 2, '"')).size(), mostPieces);
}

TEST(Scanners, TakeTimeInProportionToAHostileText) {
    constexpr std::size_t size = 20'000'000;
    EXPECT_THAT(objects(std::string(size, '{')), IsEmpty());
    std::string quotesAndBrackets(2 * size, '"');
    quotesAndBrackets.replace(size, 3, "\"a\"");
    quotesAndBrackets.replace(size + 3, size - 3, size - 3, '[');
    EXPECT_EQ(listUnderKey(quotesAndBrackets, "a"), "");
    EXPECT_EQ(quotedStrings(std::string(size, '"')).size(), mostPieces);
}

} // namespace
} // namespace mos
