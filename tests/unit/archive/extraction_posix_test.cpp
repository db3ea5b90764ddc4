#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "archive/extraction.h"
#include "archive/zip_bytes.h"
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
class ExtractionThroughLinks : public testing::Test {
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
    fs::path target = room / "target";
    fs::path outside = room / "outside";
};

TEST_F(ExtractionThroughLinks, ALinkedDirectoryOutsideIsNotEntered) {
    fs::create_directory_symlink(outside, target / "link");
    EXPECT_EQ(failureOf(member("a", "one") + member("link/b", "two")),
              "Archive path escapes target directory: link/b");
    EXPECT_EQ(failureOf(member("link\\c/d", "two")),
              "Archive path escapes target directory: link\\c/d");
    EXPECT_EQ(namesIn(outside), Names{});
    EXPECT_EQ(contentOf(target / "a"), "one");
}

TEST_F(ExtractionThroughLinks, ALinkedFileOutsideIsNotOverwritten) {
    test::writeFile(outside / "file", "kept");
    fs::create_symlink("../outside/file", target / "link");
    EXPECT_EQ(failureOf(member("link", "two")), "Archive path escapes target directory: link");
    EXPECT_EQ(contentOf(outside / "file"), "kept");
}

TEST_F(ExtractionThroughLinks, ALinkBehindAMissingDirectoryIsSeen) {
    fs::create_directory_symlink(outside, target / "link");
    EXPECT_EQ(failureOf(member("missing/../link/b", "two")),
              "Archive path escapes target directory: missing/../link/b");
    EXPECT_EQ(namesIn(outside), Names{});
    EXPECT_EQ(namesIn(target), Names{"link"});
}

TEST_F(ExtractionThroughLinks, TheParentOfALinkedDirectoryIsOutside) {
    fs::create_directory(outside / "deep");
    fs::create_directory_symlink(outside / "deep", target / "link");
    EXPECT_EQ(failureOf(member("link/../b", "two")),
              "Archive path escapes target directory: link/../b");
    EXPECT_EQ(namesIn(outside), Names{"deep"});
}

TEST_F(ExtractionThroughLinks, ALinkToAMissingFileOutsideDoesNotCreateIt) {
    fs::create_symlink(outside / "new", target / "link");
    fs::create_symlink("link", target / "second");
    EXPECT_EQ(failureOf(member("link", "two")), "Archive path escapes target directory: link");
    EXPECT_EQ(failureOf(member("second", "two")), "Archive path escapes target directory: second");
    EXPECT_EQ(namesIn(outside), Names{});
}

TEST_F(ExtractionThroughLinks, ALinkThatLeadsToItselfEscapes) {
    fs::create_symlink("link", target / "link");
    EXPECT_EQ(failureOf(member("link", "two")), "Archive path escapes target directory: link");
    EXPECT_EQ(failureOf(member("link/b", "two")), "Archive path escapes target directory: link/b");
}

TEST_F(ExtractionThroughLinks, ADirectoryOutsideWithALinkBackTakesNothingElse) {
    fs::create_directory_symlink(outside, target / "link");
    fs::create_symlink("../target/file", outside / "back");
    EXPECT_EQ(failureOf(member("link/back", "one") + member("link/new", "two")),
              "Archive path escapes target directory: link/new");
    EXPECT_EQ(contentOf(target / "file"), "one");
    EXPECT_EQ(namesIn(outside), Names{"back"});
}

TEST_F(ExtractionThroughLinks, ALinkInADirectoryThatTookAMemberBeforeIsSeen) {
    fs::create_directory(target / "sub");
    test::writeFile(outside / "file", "kept");
    fs::create_symlink(outside / "file", target / "sub" / "link");
    fs::create_symlink(outside / "missing", target / "sub" / "nowhere");
    fs::create_directory_symlink(outside, target / "sub" / "away");
    EXPECT_EQ(failureOf(member("sub/a", "one") + member("sub/link", "two")),
              "Archive path escapes target directory: sub/link");
    EXPECT_EQ(failureOf(member("sub/b", "one") + member("sub/nowhere", "two")),
              "Archive path escapes target directory: sub/nowhere");
    EXPECT_EQ(failureOf(member("sub/c", "one") + member("sub/away/x", "two")),
              "Archive path escapes target directory: sub/away/x");
    EXPECT_EQ(contentOf(outside / "file"), "kept");
    EXPECT_EQ(namesIn(outside), Names{"file"});
}

TEST_F(ExtractionThroughLinks, LinksThatStayInsideAreFollowed) {
    fs::create_directory(target / "real");
    fs::create_directory_symlink("real", target / "link");
    fs::create_symlink("real/new", target / "file");
    EXPECT_EQ(failureOf(member("link/b", "two") + member("file", "three")), "");
    EXPECT_EQ(contentOf(target / "real" / "b"), "two");
    EXPECT_EQ(contentOf(target / "real" / "new"), "three");
}

TEST_F(ExtractionThroughLinks, TheTargetItselfMayBeALink) {
    fs::create_directory_symlink(outside, room / "alias");
    target = room / "alias";
    EXPECT_EQ(failureOf(member("a/b", "two") + member("a/c", "three")), "");
    EXPECT_EQ(namesIn(outside / "a"), (Names{"b", "c"}));
}

TEST_F(ExtractionThroughLinks, ANameLongerThanTheSystemTakesEscapes) {
    const std::string name(300, 'n');
    EXPECT_EQ(failureOf(member(name, "two")), "Archive path escapes target directory: " + name);
}

TEST_F(ExtractionThroughLinks, AFullDiskIsReported) {
    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no device /dev/full";
    }
    target = "/dev";
    EXPECT_EQ(failureOf(member("full", "two")), "Failed to write extracted file: /dev/full");
}

TEST_F(ExtractionThroughLinks, ADoubleSlashAndADotAreFollowed) {
    EXPECT_EQ(failureOf(member("a//./b", "two")), "");
    EXPECT_EQ(contentOf(target / "a" / "b"), "two");
}

TEST_F(ExtractionThroughLinks, NamesAreBytes) {
    EXPECT_EQ(failureOf(member("\xFF\xFE:*?", "two")), "");
    EXPECT_EQ(namesIn(target), Names{"\xFF\xFE:*?"});
}

} // namespace
} // namespace mos
