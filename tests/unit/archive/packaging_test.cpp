#include "archive/packaging.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/package_archive.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

TEST(ArchiveFileName, IsTheNameAndTheVersionsText) {
    EXPECT_EQ(archiveFileName("hello", *Version::parse("0.1.0")), "hello-0.1.0.mos");
    EXPECT_EQ(archiveFileName("a", *Version::parse("v01.2.3-rc.1+b.5")), "a-1.2.3-rc.1+b.5.mos");
    EXPECT_EQ(archiveFileName("", *Version::parse("1.0.0")), "-1.0.0.mos");
}

class Packaging : public testing::Test {
protected:
    void SetUp() override { fs::create_directory(root); }

    void write(const std::string& relative, std::string_view content) const {
        fs::create_directories((root / relative).parent_path());
        test::writeFile(root / relative, content);
    }

    [[nodiscard]] Names packed() const {
        Names files;
        std::string error = "untouched";
        EXPECT_TRUE(createPackage(root, archive, nullptr, &files, &error)) << error;
        EXPECT_EQ(error, "untouched");
        return files;
    }

    [[nodiscard]] std::string failure() const {
        std::string error;
        std::string checksum = "untouched";
        Names files{"untouched"};
        EXPECT_FALSE(createPackage(root, archive, &checksum, &files, &error));
        EXPECT_EQ(checksum, "untouched");
        EXPECT_EQ(files, Names{"untouched"});
        EXPECT_FALSE(createPackage(root, archive, nullptr, nullptr, nullptr));
        return error;
    }

    [[nodiscard]] std::vector<std::pair<std::string, std::string>> members() const {
        std::vector<ArchiveEntry> entries;
        EXPECT_TRUE(PackageArchive::read(archive, entries, nullptr));
        std::vector<std::pair<std::string, std::string>> pairs;
        for (const ArchiveEntry& entry : entries) {
            std::string data;
            for (const std::byte byte : entry.data) {
                data += std::to_integer<char>(byte);
            }
            pairs.emplace_back(entry.name, data);
        }
        return pairs;
    }

    TemporaryDirectory room;
    fs::path root = room / "project";
    fs::path archive = room / "out.mos";
};

TEST_F(Packaging, TheManifestTheReadmeTheLicenseAndTheSourcesGoInInThisOrder) {
    write("src/main.moss", "fn main");
    write("LICENSE", "");
    write("README.md", "read\r\nme");
    write("moss.toml", "[package]");
    EXPECT_EQ(packed(), (Names{"moss.toml", "README.md", "LICENSE", "src/main.moss"}));
    const std::vector<std::pair<std::string, std::string>> expected{{"moss.toml", "[package]"},
                                                                    {"README.md", "read\r\nme"},
                                                                    {"LICENSE", ""},
                                                                    {"src/main.moss", "fn main"}};
    EXPECT_EQ(members(), expected);
}

TEST_F(Packaging, SourcesAreInByteOrderOfTheirNames) {
    for (const char* name :
         {"src/b/c", "src/b.moss", "src/Z", "src/a/z/deep", "src/a-b", "src/b0"}) {
        write(name, name);
    }
    write("moss.toml", "");
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/Z", "src/a-b", "src/a/z/deep", "src/b.moss",
                               "src/b/c", "src/b0"}));
}

TEST_F(Packaging, TheSameProjectGivesTheSameBytesAndChecksum) {
    write("moss.toml", "m");
    write("src/a", "a");
    write("src/b", "b");
    std::string first;
    std::string second;
    ASSERT_TRUE(createPackage(root, archive, &first, nullptr, nullptr));
    const std::string bytes = test::contentOf(archive);
    write("src/b", "b");
    ASSERT_TRUE(createPackage(root, archive, &second, nullptr, nullptr));
    EXPECT_EQ(test::contentOf(archive), bytes);
    EXPECT_EQ(second, first);
}

TEST_F(Packaging, TheChecksumIsThatOfTheArchive) {
    write("moss.toml", "");
    write("src/a", "");
    std::string checksum;
    ASSERT_TRUE(createPackage(root, archive, &checksum, nullptr, nullptr));
    EXPECT_EQ(checksum, "sha256:ef5967210191e11c0035571f5605b64a1efdfa56276c246bfbe3b43fcfeaa5b9");
}

TEST_F(Packaging, AProjectWithoutAManifestIsRefused) {
    write("src/main.moss", "x");
    EXPECT_EQ(failure(), "Project missing moss.toml manifest.");
    EXPECT_FALSE(fs::exists(archive));
}

TEST_F(Packaging, AManifestAloneIsRefused) {
    write("moss.toml", "");
    EXPECT_EQ(failure(), "Project contains no source files under src/.");
    EXPECT_FALSE(fs::exists(archive));
}

TEST_F(Packaging, DirectoriesWithoutFilesAreNoSources) {
    write("moss.toml", "");
    fs::create_directories(root / "src/a/b");
    EXPECT_EQ(failure(), "Project contains no source files under src/.");
}

TEST_F(Packaging, AManifestAndAReadmeAreEnoughWithoutAnySource) {
    write("moss.toml", "");
    write("README.md", "");
    fs::create_directory(root / "src");
    EXPECT_EQ(packed(), (Names{"moss.toml", "README.md"}));
}

TEST_F(Packaging, SourcesAloneAreNotEnoughWhenTheManifestIsADirectory) {
    fs::create_directory(root / "moss.toml");
    write("src/a", "");
    EXPECT_EQ(failure(), "Project contains no source files under src/.");
    write("src/b", "");
    EXPECT_EQ(packed(), (Names{"src/a", "src/b"}));
}

TEST_F(Packaging, OtherFilesStayOut) {
    for (const char* name : {"moss.toml", "src/a", "LICENSE.md", "README.txt", "moss.lock", "notes",
                             "packages/x/src/y", "source/z"}) {
        write(name, name);
    }
    fs::create_directory(root / "LICENSE");
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a"}));
}

TEST_F(Packaging, AFileNamedSrcIsNoSource) {
    write("moss.toml", "");
    write("README.md", "");
    write("src", "");
    EXPECT_EQ(packed(), (Names{"moss.toml", "README.md"}));
}

TEST_F(Packaging, TheArchivesDirectoryIsCreated) {
    write("moss.toml", "");
    write("src/a", "");
    archive = room / "new/deep/out.mos";
    EXPECT_EQ(packed(), (Names{"moss.toml", "src/a"}));
    EXPECT_TRUE(fs::exists(archive));
}

TEST_F(Packaging, AnArchiveThatCannotBeCreatedIsReported) {
    write("moss.toml", "");
    write("src/a", "");
    fs::create_directory(archive);
    EXPECT_EQ(failure(), "Failed to create archive file: " + archive.string());
}

TEST_F(Packaging, TheListOfFilesIsReplaced) {
    write("moss.toml", "");
    write("src/a", "");
    Names files{"earlier"};
    ASSERT_TRUE(createPackage(root, archive, nullptr, &files, nullptr));
    EXPECT_EQ(files, (Names{"moss.toml", "src/a"}));
}

} // namespace
} // namespace mos
