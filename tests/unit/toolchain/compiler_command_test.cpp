#include "toolchain/compiler_command.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mos {
namespace {

using Words = std::vector<std::string>;

TEST(CommandText, HasTheCompilerAndTheFileInDoubleQuotes) {
    EXPECT_EQ(commandText({"/opt/moss/moss.exe", "check", "/home/app/src/main.moss", {}}),
              "\"/opt/moss/moss.exe\" check \"/home/app/src/main.moss\"");
}

TEST(CommandText, HasEveryArgumentInDoubleQuotesOfItsOwn) {
    EXPECT_EQ(commandText({"moss", "run", "main.moss", {"a", "", "two words"}}),
              "\"moss\" run \"main.moss\" \"a\" \"\" \"two words\"");
}

TEST(CommandText, EscapesNothing) {
    EXPECT_EQ(commandText({"moss", "run", "a\"b\\", {"\"", "\\\"", "$(x)", "\xff\n"}}),
              "\"moss\" run \"a\"b\\\" \"\"\" \"\\\"\" \"$(x)\" \"\xff\n\"");
}

TEST(CommandText, ShowsTheCompilerAsItWasFound) {
    EXPECT_EQ(commandText({"moss.exe", "check", "main.moss", {}}),
              "\"moss.exe\" check \"main.moss\"");
}

TEST(CommandWords, AreTheWordsUnchanged) {
    EXPECT_EQ(commandWords({"/opt/moss.exe", "run", "src/main.moss", {"a b", "", "\"", "\xff"}}),
              (Words{"/opt/moss.exe", "run", "src/main.moss", "a b", "", "\"", "\xff"}));
}

TEST(CommandWords, ACompilerInTheCurrentDirectoryIsRunFromThere) {
    const std::string program = (std::filesystem::path(".") / "moss.exe").string();
    EXPECT_EQ(commandWords({"moss.exe", "check", "main.moss", {}}),
              (Words{program, "check", "main.moss"}));
}

TEST(CommandWords, EveryOtherCompilerIsRunAsItWasFound) {
    for (const char* compiler : {"moss", "build/Release/moss.exe", "../build/Release/moss.exe"}) {
        EXPECT_EQ(commandWords({compiler, "check", "main.moss", {}}),
                  (Words{compiler, "check", "main.moss"}));
    }
}

} // namespace
} // namespace mos
