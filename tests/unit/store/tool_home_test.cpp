#include "store/tool_home.h"

#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "environment_variable.h"

namespace mos {
namespace {

using test::EnvironmentVariable;
using Path = std::filesystem::path;

TEST(ToolHome, MossHomeIsTakenAsItIs) {
    const EnvironmentVariable home("MOSS_HOME", "some/place");
    const EnvironmentVariable profile("USERPROFILE", "profile");
    EXPECT_EQ(toolHome(), Path("some/place"));
}

TEST(ToolHome, AnEmptyMossHomeFallsBackToTheProfile) {
    const EnvironmentVariable home("MOSS_HOME", "");
    const EnvironmentVariable profile("USERPROFILE", "profile");
    EXPECT_EQ(toolHome(), Path("profile") / ".moss");
}

TEST(ToolHome, WithoutMossHomeTheProfileIsJoinedWithDotMoss) {
    const EnvironmentVariable home("MOSS_HOME", std::nullopt);
    const EnvironmentVariable profile("USERPROFILE", "profile");
    EXPECT_EQ(toolHome(), Path("profile") / ".moss");
}

TEST(ToolHome, AnEmptyProfileStillCounts) {
    const EnvironmentVariable home("MOSS_HOME", std::nullopt);
    const EnvironmentVariable profile("USERPROFILE", "");
    if (!environmentVariable("USERPROFILE")) {
        GTEST_SKIP() << "a process cannot set its own variables to nothing on this system";
    }
    EXPECT_EQ(toolHome(), Path(".moss"));
}

TEST(ToolHome, WithoutBothItLiesInTheCurrentDirectory) {
    const EnvironmentVariable home("MOSS_HOME", std::nullopt);
    const EnvironmentVariable profile("USERPROFILE", std::nullopt);
    EXPECT_EQ(toolHome(), std::filesystem::current_path() / ".moss");
}

TEST(ToolHome, IsReadAnewAtEveryCall) {
    const EnvironmentVariable first("MOSS_HOME", "first");
    EXPECT_EQ(toolHome(), Path("first"));
    const EnvironmentVariable second("MOSS_HOME", "second");
    EXPECT_EQ(toolHome(), Path("second"));
}

} // namespace
} // namespace mos
