#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace mos {
namespace {

TEST(NarrowTextWindows, PathsAreMadeOfUtf8) {
    EXPECT_EQ(std::filesystem::path("gr\xC3\xB6\xC3\x9F"
                                    "e")
                  .native(),
              L"gr\u00F6\u00DFe");
    EXPECT_EQ(std::filesystem::path("\xE2\x82\xAC").native(), L"\u20AC");
    EXPECT_EQ(std::filesystem::path("a\xF0\x9F\x98\x80z").native(), L"a\U0001F600z");
    EXPECT_EQ(std::filesystem::path("\xF4\x8F\xBF\xBF").native(), L"\U0010FFFF");
    EXPECT_EQ(std::filesystem::path(std::string("a\0b", 3)).native(), std::wstring(L"a\0b", 3));
}

TEST(NarrowTextWindows, PathsGiveBackTheTextTheyAreMadeOf) {
    const std::string text = "\xC3\xA4/\xE2\x82\xAC \xF0\x9F\x98\x80";
    EXPECT_EQ(std::filesystem::path(text).string(), text);
}

TEST(NarrowTextWindows, WhatIsNoUtf8IsNoPath) {
    for (const std::string text :
         {"\x80", "\xC3", "\xC3x", "\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xED\xA0\x80",
          "\xE2\x82", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
          "a\xF0\x9F\x98"}) {
        EXPECT_THROW(std::filesystem::path{text}, std::filesystem::filesystem_error) << text;
    }
}

} // namespace
} // namespace mos
