#include "server/package/archive_rules.h"

#include <gtest/gtest.h>

namespace mos::server {
namespace {

TEST(ArchiveRules, OrdinaryMemberNamesAreFine) {
    for (const char* const name : {"moss.toml", "src/main.moss", "src/a b/c-d_e.moss",
                                   "src/.hidden", "src/gr\xC3\xBC\xC3\x9F\x65", "src/{x}.moss"}) {
        EXPECT_EQ(refusalOfMemberName(name), std::nullopt) << name;
    }
}

TEST(ArchiveRules, NamesThatMeanSomethingElseSomewhereAreRefused) {
    for (const char* const name :
         {"",     ".",   "..",   "/a",   "a/",    "a//b",  "a/./b",    "a/../b",
          "../a", "C:a", "a:b",  "a\\b", "a*",    "a?",    "a\"",      "a<",
          "a|",   "a.",  "a /b", "a\nb", "a\x7f", "a\xFF", "a\xC2\x80"}) {
        EXPECT_TRUE(refusalOfMemberName(name)) << name;
    }
    EXPECT_TRUE(refusalOfMemberName(std::string("a\0b", 3)));
    EXPECT_TRUE(refusalOfMemberName(std::string(1001, 'a')));
}

TEST(ArchiveRules, WhatCannotBeReadIsAFailureAndNoRefusal) {
    const std::filesystem::path nowhere = std::filesystem::temp_directory_path() / "no" / "such";
    const ArchiveReading reading = readPublishedArchive(nowhere, "", nowhere, {});
    EXPECT_EQ(reading.refusal, "");
    EXPECT_EQ(reading.failure, "an upload could not be checked: cannot read " + nowhere.string());
}

} // namespace
} // namespace mos::server
