#include "store/cached_archive.h"

#include <gtest/gtest.h>

#include <string>

#include "archive/zip_bytes.h"
#include "cli/mos_exception.h"
#include "environment_variable.h"
#include "platform/file_system.h"
#include "store/package_cache.h"
#include "store/sha256.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::EnvironmentVariable;
using test::member;
using test::TemporaryDirectory;
using test::writeFile;

/// A tool home of the test's own with one archive.
class CachedArchiveTest : public testing::Test {
protected:
    void SetUp() override {
        createDirectories(PackageCache::packageDir("json", version));
        writeFile(archive, member("src/main.moss", "one"));
        checksum = "sha256:" + sha256File(archive);
    }

    TemporaryDirectory room;
    EnvironmentVariable home{"MOSS_HOME", (room / "home").string()};
    Version version{1, 2, 3, {}, {}};
    std::filesystem::path archive = PackageCache::archivePath("json", version);
    std::string checksum;
};

TEST_F(CachedArchiveTest, IsNotThereWhenNothingIsCached) {
    const Version other{1, 2, 4, {}, {}};
    EXPECT_FALSE(CachedArchive::find("json", other, "").has_value());
    EXPECT_FALSE(CachedArchive::require("json", other, checksum).has_value());
}

TEST_F(CachedArchiveTest, HasTheChecksumThatIsAskedFor) {
    const std::string wrong(64, '0');
    EXPECT_TRUE(CachedArchive::find("json", version, checksum).has_value());
    EXPECT_TRUE(CachedArchive::find("json", version, checksum.substr(7)).has_value());
    EXPECT_TRUE(CachedArchive::find("json", version, "").has_value());
    EXPECT_FALSE(CachedArchive::find("json", version, wrong).has_value());
    EXPECT_TRUE(CachedArchive::require("json", version, checksum).has_value());
    try {
        static_cast<void>(CachedArchive::require("json", version, wrong));
        FAIL() << "no error";
    } catch (const MosException& error) {
        EXPECT_EQ(error.message,
                  "Checksum verification failed for package 'json 1.2.3'.\nExpected: " + wrong +
                      "\nActual:   " + checksum);
        EXPECT_EQ(error.exitCode, 7);
    }
}

TEST_F(CachedArchiveTest, IsComparedAndUnpackedAsOftenAsOneLikes) {
    auto cached = CachedArchive::find("json", version, checksum);
    ASSERT_TRUE(cached.has_value());
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(cached->isUnpackedAt(room / "json"));
        cached->unpack(room / "json", room / "json");
        EXPECT_TRUE(cached->isUnpackedAt(room / "json"));
        EXPECT_EQ(contentOf(room / "json" / "src" / "main.moss"), "one");
        removeAll(room / "json");
    }
}

TEST_F(CachedArchiveTest, StaysWhatWasVerifiedWhenAnotherOneIsPutInItsPlace) {
    auto cached = CachedArchive::find("json", version, checksum);
    ASSERT_TRUE(cached.has_value());
    writeFile(room / "other", member("src/main.moss", "two"));
    std::error_code error;
    std::filesystem::rename(room / "other", archive, error);
    if (error) {
        GTEST_SKIP() << "an open file cannot be replaced here";
    }
    cached->unpack(room / "json", room / "json");
    EXPECT_EQ(contentOf(room / "json" / "src" / "main.moss"), "one");
}

TEST_F(CachedArchiveTest, NamesThePlaceThatIsToBeShownInItsMessages) {
    writeFile(archive, member("src/main.moss", "one") + member("src/", ""));
    auto cached = CachedArchive::find("json", version, "");
    ASSERT_TRUE(cached.has_value());
    try {
        cached->unpack(room / "staged", room / "shown");
        FAIL() << "no error";
    } catch (const MosException& error) {
        EXPECT_EQ(error.message,
                  "Failed to unpack package 'json': Failed to write extracted file: " +
                      (room / "shown" / "").string() + "src/");
    }
}

} // namespace
} // namespace mos
