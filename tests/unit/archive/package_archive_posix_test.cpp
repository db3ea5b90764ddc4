#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "archive/package_archive.h"

namespace mos {
namespace {

TEST(ArchiveWriterPosix, AFullDiskIsReported) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no device /dev/full";
    }
    std::string error;
    EXPECT_FALSE(PackageArchive::write("/dev/full", {}, &error));
    EXPECT_EQ(error, "Failed to write archive file: /dev/full");
    EXPECT_FALSE(PackageArchive::write("/dev/full", {}, nullptr));
    const std::vector<ArchiveEntry> large{{"large", std::vector<std::byte>(100'000)}};
    EXPECT_FALSE(PackageArchive::write("/dev/full", large, &error));
    EXPECT_EQ(error, "Failed to write archive file: /dev/full");
}

} // namespace
} // namespace mos
