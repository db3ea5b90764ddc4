#include "store/package_cache.h"

#include <span>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "environment_variable.h"
#include "platform/file_system.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::EnvironmentVariable;
using test::TemporaryDirectory;

/// A tool home of the test's own and a download.
class PackageCacheTest : public testing::Test {
protected:
    static constexpr const char* content = "what was downloaded";

    void SetUp() override {
        createDirectories(directory.path() / "temp");
        ASSERT_EQ(download.open(), DownloadFile::OpenResult::Opened);
        ASSERT_TRUE(download.write(std::as_bytes(std::span(std::string_view(content)))));
    }

    TemporaryDirectory directory;
    EnvironmentVariable home{"MOSS_HOME", directory.path().string()};
    DownloadFile download{directory.path() / "temp" / "json.mos"};
    Version version{1, 2, 3, {}, {}};
};

TEST_F(PackageCacheTest, WhatIsStoredIsCached) {
    EXPECT_FALSE(PackageCache::isCached("json", version));
    EXPECT_TRUE(PackageCache::store("json", version, download, ""));
    EXPECT_TRUE(PackageCache::isCached("json", version));
    EXPECT_EQ(test::contentOf(PackageCache::archivePath("json", version)), content);
}

TEST_F(PackageCacheTest, ACacheThatIsEmptiedAllTheTimeTakesThePackageInTheEnd) {
    constexpr int rounds = 300;
    std::jthread cleaner([] {
        for (int round = 0; round < rounds; ++round) {
            PackageCache::clean();
        }
    });
    int stored = 0;
    for (int round = 0; round < 20; ++round) {
        stored += PackageCache::store("json", version, download, "") ? 1 : 0;
    }
    cleaner.join();
    EXPECT_EQ(stored, 20);
}

TEST_F(PackageCacheTest, ACacheThatCannotBeWrittenFailsAtOnce) {
    createDirectories(PackageCache::archivePath("json", version));
    EXPECT_FALSE(PackageCache::store("json", version, download, ""));
}

} // namespace
} // namespace mos
