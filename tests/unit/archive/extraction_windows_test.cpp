#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "archive/extraction.h"
#include "archive/zip_bytes.h"
#include "links_windows.h"
#include "platform/resolved_path.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::member;
using test::namesIn;
using test::TemporaryDirectory;

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

/// A target that exists, beside a directory that members must not reach.
class ExtractionOnWindows : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(target);
        fs::create_directory(outside);
    }

    [[nodiscard]] std::string failureOf(std::string_view bytes) const {
        test::writeFile(room / "archive.mos", bytes);
        std::string error;
        const bool done = extractArchive(room / "archive.mos", target, &error);
        EXPECT_EQ(done, error.empty());
        return error;
    }

    TemporaryDirectory room;
    fs::path target = canonicalPath(room.path()) / "target";
    fs::path outside = canonicalPath(room.path()) / "outside";
};

TEST_F(ExtractionOnWindows, NamesWithAMeaningFailInOrderAndReachNothing) {
    for (const std::string name :
         {"NUL",         "nul.txt",     "COM1",      "a/com1",      "con.txt",  "lpt1/file",
          "dot.",        "blank ",      "dot./file", "blank /file", ".. /file", ".../file",
          "name:stream", "name::$DATA", "a/b:c",     "what?",       "star*",    "a|b",
          "a<b",         "line\nbreak", "\xFF\xFE"}) {
        EXPECT_EQ(failureOf(member(name, "two")),
                  "Failed to write extracted file: " + (target / "").string() + name);
    }
    EXPECT_EQ(namesIn(target), Names{});
    EXPECT_EQ(namesIn(outside), Names{});
    EXPECT_EQ(namesIn(room.path()), (Names{"archive.mos", "outside", "target"}));
}

TEST_F(ExtractionOnWindows, NamesThatOnlyLookAlikeAreFiles) {
    EXPECT_EQ(failureOf(member("nullify", "1") + member("com12", "2") + member("a/.hidden", "3") +
                        member("gr\u00F6\u00DFe", "4")),
              "");
    EXPECT_EQ(contentOf(target / "nullify"), "1");
    EXPECT_EQ(contentOf(target / "com12"), "2");
    EXPECT_EQ(contentOf(target / "a" / ".hidden"), "3");
    EXPECT_EQ(contentOf(target / "gr\u00F6\u00DFe"), "4");
}

TEST_F(ExtractionOnWindows, ALinkedDirectoryOutsideIsNotEntered) {
    const test::DirectoryLink link(outside, target / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    EXPECT_EQ(failureOf(member("a", "one") + member("link/b", "two")),
              "Archive path escapes target directory: link/b");
    EXPECT_EQ(failureOf(member("link\\c/d", "two")),
              "Archive path escapes target directory: link\\c/d");
    EXPECT_EQ(namesIn(outside), Names{});
    EXPECT_EQ(contentOf(target / "a"), "one");
}

TEST_F(ExtractionOnWindows, AJunctionOutsideThatLeadsToNothingIsNotFollowed) {
    if (!test::makeJunction(outside / "missing", target / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    EXPECT_EQ(failureOf(member("link/b", "two")), "Archive path escapes target directory: link/b");
    EXPECT_EQ(namesIn(outside), Names{});
}

TEST_F(ExtractionOnWindows, ALinkToAFileOutsideIsNotFollowed) {
    test::writeFile(outside / "file", "kept");
    if (!test::makeSymbolicLink(outside / "file", target / "link")) {
        GTEST_SKIP() << "no symbolic links here: Wine does not make them, Windows wants a right";
    }
    EXPECT_EQ(failureOf(member("link", "two")), "Archive path escapes target directory: link");
    EXPECT_EQ(contentOf(outside / "file"), "kept");
}

TEST_F(ExtractionOnWindows, ALinkedTargetIsTheTarget) {
    const test::DirectoryLink link(outside, target / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    target = target / "link";
    EXPECT_EQ(failureOf(member("a/b", "two")), "");
    EXPECT_EQ(contentOf(outside / "a" / "b"), "two");
}

} // namespace
} // namespace mos
