#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/child_process.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::TemporaryDirectory;

/// Has the interpreter write `words` to a file, from a script in a folder with blanks.
std::string arrived(const TemporaryDirectory& room, const std::string& words) {
    const std::filesystem::path folder = room / "with blank";
    std::filesystem::create_directory(folder);
    test::writeFile(folder / "script.bat",
                    "@echo off\r\necho [%*]> \"" + (room / "out").string() + "\"\r\nexit 7\r\n");
    const std::string text = "\"" + (folder / "script.bat").string() + "\" " + words;
    EXPECT_EQ(runThroughInterpreter({}, text), 7);
    return contentOf(room / "out");
}

TEST(ChildProcessWindows, RunsTheTextWithItsInnerQuotesIntact) {
    const TemporaryDirectory room;
    EXPECT_EQ(arrived(room, "check \"a b\" \"c\" \"50\""), "[check \"a b\" \"c\" \"50\"]\r\n");
}

TEST(ChildProcessWindows, OneQuotedWordAloneRunsToo) {
    const TemporaryDirectory room;
    EXPECT_EQ(arrived(room, ""), "[]\r\n");
}

TEST(ChildProcessWindows, AProgramThatIsMissingIsAStatusOfItsOwn) {
    const TemporaryDirectory room;
    EXPECT_NE(runThroughInterpreter({}, "\"" + (room / "missing").string() + "\" check \"a\""), 0);
}

} // namespace
} // namespace mos
