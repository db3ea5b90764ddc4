#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "archive/package_archive.h"
#include "archive/packaging.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;
using test::writeFile;

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class PackagingPosix : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root / "src");
        writeFile(root / "moss.toml", "");
        writeFile(root / "src" / "a", "a");
    }

    [[nodiscard]] Names packed() const {
        Names files;
        std::string error;
        EXPECT_TRUE(createPackage(root, room / "out.mos", nullptr, &files, &error)) << error;
        return files;
    }

    /// The text of the file-system error.
    [[nodiscard]] std::string raised() const {
        try {
            std::ignore = createPackage(root, room / "out.mos", nullptr, nullptr, nullptr);
            return "no error";
        } catch (const fs::filesystem_error& error) {
            return error.what();
        }
    }

    TemporaryDirectory room;
    fs::path root = fs::canonical(room.path()) / "project";
};

TEST_F(PackagingPosix, ALinkedFileCountsUnderTheNameOfItsTarget) {
    fs::create_symlink("a", root / "src" / "link");
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a", "src/a"}));
}

TEST_F(PackagingPosix, ALinkedFileOutsideTheProjectKeepsItsWayThere) {
    writeFile(room / "shared", "s");
    fs::create_symlink(room / "shared", root / "src" / "link");
    EXPECT_EQ(packed(), (Names{"moss.toml", "../shared", "src/a"}));
}

TEST_F(PackagingPosix, AnOldArchiveThatIsAlsoASourceGoesInAsItWas) {
    const std::string old(2'000'000, 'o');
    writeFile(room / "out.mos", old);
    fs::create_hard_link(room / "out.mos", root / "src" / "old");
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a", "src/old"}));
    std::vector<ArchiveEntry> entries;
    ASSERT_TRUE(PackageArchive::read(room / "out.mos", entries, nullptr));
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(
        std::string(reinterpret_cast<const char*>(entries[2].data.data()), entries[2].data.size()),
        old);
}

TEST_F(PackagingPosix, LinkedDirectoriesAndDanglingLinksAndPipesAreSkipped) {
    fs::create_directory(root / "other");
    writeFile(root / "other" / "b", "b");
    fs::create_directory_symlink("../other", root / "src" / "directory");
    fs::create_symlink("missing", root / "src" / "dangling");
    ASSERT_EQ(mkfifo((root / "src" / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a"}));
}

TEST_F(PackagingPosix, AProjectReachedThroughALinkHasTheSameNames) {
    fs::create_directory_symlink(root, room / "alias");
    root = room / "alias";
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a"}));
}

TEST_F(PackagingPosix, ALinkedSrcIsWalked) {
    fs::rename(root / "src", root / "real");
    fs::create_directory_symlink("real", root / "src");
    EXPECT_EQ(packed(), (Names{"moss.toml", "real/a"}));
}

TEST_F(PackagingPosix, ABackslashInAFilesNameBecomesASlash) {
    writeFile(root / "src" / "b\\c", "b");
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a", "src/b/c"}));
}

TEST_F(PackagingPosix, ALinkToItselfIsAnErrorOfItsStatus) {
    fs::create_symlink("loop", root / "src" / "loop");
    EXPECT_EQ(raised(), "filesystem error: directory_entry::status: Too many levels of symbolic "
                        "links [" +
                            (root / "src" / "loop").string() + "]");
}

TEST_F(PackagingPosix, AReadmeThatLinksToItselfIsAnErrorOfExists) {
    fs::create_symlink("README.md", root / "README.md");
    EXPECT_EQ(raised(), "filesystem error: exists: Too many levels of symbolic links [" +
                            (root / "README.md").string() + "]");
}

TEST_F(PackagingPosix, AnArchiveBelowAFileIsAnErrorOfCreateDirectories) {
    try {
        std::ignore =
            createPackage(root, root / "moss.toml" / "out.mos", nullptr, nullptr, nullptr);
        FAIL() << "no error";
    } catch (const fs::filesystem_error& error) {
        EXPECT_EQ(std::string(error.what()), "filesystem error: create_directories: Not a "
                                             "directory [" +
                                                 (root / "moss.toml").string() + "]");
    }
}

} // namespace
} // namespace mos
