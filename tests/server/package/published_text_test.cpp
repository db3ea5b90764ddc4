#include "server/package/published_text.h"

#include <gtest/gtest.h>

#include <string>

namespace mos::server {
namespace {

TEST(PublishedText, KeepsPlainTextAndUtf8) {
    EXPECT_EQ(publishedText("JSON documents"), "JSON documents");
    EXPECT_EQ(publishedText("Gr\xC3\xBC\xC3\x9F\x65 \xE2\x82\xAC \xF0\x9F\x98\x80"),
              "Gr\xC3\xBC\xC3\x9F\x65 \xE2\x82\xAC \xF0\x9F\x98\x80");
}

TEST(PublishedText, ReplacesWhatJsonWouldEscape) {
    EXPECT_EQ(publishedText("a \"b\" \\ c"), "a 'b' / c");
    EXPECT_EQ(publishedText("a\tb\r\nc\x1b[1m"), "a b  c [1m");
    EXPECT_EQ(publishedText(std::string_view("a\0b", 3)), "a b");
}

TEST(PublishedText, ReplacesBraces) {
    EXPECT_EQ(publishedText("{a} [b]"), "(a) [b]");
}

TEST(PublishedText, ReplacesEveryByteThatIsNoUtf8) {
    EXPECT_EQ(publishedText("a\xFF\xC0\xAF"), "a???");
    EXPECT_EQ(publishedText("cut \xE2\x82"), "cut ??");
    EXPECT_EQ(publishedText("begun \xC3("), "begun ?(");
    EXPECT_EQ(publishedText("begun \xE2\x82("), std::string("begun ??").append("("));
    EXPECT_EQ(publishedText("overlong \xF0\x8F\xBF\xBF"), "overlong ????");
    EXPECT_EQ(publishedText("beyond \xF5\x80\x80\x80"), "beyond ????");
    EXPECT_EQ(publishedText("surrogate \xED\xA0\x80"), "surrogate ???");
    EXPECT_EQ(publishedText("overlong \xE0\x80\xAF"), "overlong ???");
    EXPECT_EQ(publishedText("beyond \xF4\x90\x80\x80"), "beyond ????");
}

TEST(PublishedText, HasNoUpperControlCharacters) {
    EXPECT_EQ(publishedText("a\xC2\x9B\x62\xC2\xA0"), "a b\xC2\xA0");
}

TEST(PublishedText, HasNoBlanksAtItsEnds) {
    EXPECT_EQ(publishedText("\n a \t"), "a");
    EXPECT_EQ(publishedText(" "), "");
}

} // namespace
} // namespace mos::server
