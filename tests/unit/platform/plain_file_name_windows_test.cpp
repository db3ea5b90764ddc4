#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/plain_file_name.h"

namespace mos {
namespace {

using namespace std::string_view_literals;

TEST(PlainFileNameWindows, OrdinaryNamesArePlain) {
    for (const std::string_view name :
         {"a"sv, "a/b.c"sv, "a//b/"sv, "./a/../b"sv, ".gitignore"sv, "..a"sv, "a b"sv, "nullify"sv,
          "a.nul"sv, "com"sv, "com12"sv, "comx"sv, "lpt"sv, "console"sv, "aux-1"sv, "\x7F"sv,
          "gr\u00F6\u00DFe"sv, ""sv}) {
        EXPECT_TRUE(isPlainFileName(name)) << name;
    }
}

TEST(PlainFileNameWindows, DevicesAreNotPlainWhateverFollows) {
    for (const std::string_view name :
         {"NUL"sv, "nul"sv, "Con"sv, "prn"sv, "aux"sv, "con.txt"sv, "nul.tar.gz"sv, "nul .txt"sv,
          "a/NUL"sv, "nul/a"sv, "COM1"sv, "com9.log"sv, "com0"sv, "LPT1"sv, "COM\u00B9"sv,
          "lpt\u00B3.x"sv, "CONIN$"sv, "conout$"sv, "clock$"sv}) {
        EXPECT_FALSE(isPlainFileName(name)) << name;
    }
}

TEST(PlainFileNameWindows, DotsAndBlanksAtAnEndAreNotPlain) {
    for (const std::string_view name :
         {"a."sv, "a "sv, "..."sv, ".. "sv, ". "sv, " "sv, "a./b"sv, "a /b"sv, ".. /b"sv}) {
        EXPECT_FALSE(isPlainFileName(name)) << name;
    }
}

TEST(PlainFileNameWindows, CharactersWithAMeaningAreNotPlain) {
    for (const std::string_view name :
         {"name:stream"sv, "name::$DATA"sv, "a/b:c"sv, "a*"sv, "a?"sv, "<a"sv, "a>"sv, "a|b"sv,
          "a\"b"sv, "a\\b"sv, "a\nb"sv, "a\x1F"sv, "a\0b"sv}) {
        EXPECT_FALSE(isPlainFileName(name)) << name;
    }
}

TEST(PlainFileNameWindows, WhatIsNoUtf8IsNotPlain) {
    EXPECT_FALSE(isPlainFileName("\xFF\xFE"));
    EXPECT_FALSE(isPlainFileName("gr\xF6\xDF"
                                 "e"));
}

} // namespace
} // namespace mos
