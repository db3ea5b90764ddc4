#include "toolchain/toolchain.h"

#include <gtest/gtest.h>

#include <string>

#include "temporary_directory.h"

namespace mos {
namespace {

TEST(Toolchain, ReadsItsManifestOnce) {
    const test::TemporaryDirectory room;
    test::writeFile(room / "moss.toml", "[package]\nname = \"app\"\nversion = \"0.1.0\"\n");
    Toolchain toolchain(room.path());
    std::string error;
    EXPECT_TRUE(toolchain.loadManifest(&error));
    std::filesystem::remove(room / "moss.toml");
    EXPECT_TRUE(toolchain.loadManifest(&error));
    EXPECT_EQ(error, "");
}

TEST(Toolchain, ADirectoryWithoutAManifestIsNoProject) {
    const test::TemporaryDirectory room;
    Toolchain toolchain(room.path());
    std::string error;
    EXPECT_FALSE(toolchain.loadManifest(&error));
    EXPECT_EQ(error, "No moss.toml manifest found in " + room.path().string());
    EXPECT_FALSE(toolchain.build(false, false, nullptr));
}

} // namespace
} // namespace mos
