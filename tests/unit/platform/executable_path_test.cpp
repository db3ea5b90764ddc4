#include "platform/executable_path.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TEST(ExecutablePath, IsTheFileOfTheRunningProgram) {
    const std::optional<std::filesystem::path> path = executablePath();
    ASSERT_TRUE(path.has_value());
    EXPECT_TRUE(path->is_absolute());
    EXPECT_TRUE(std::filesystem::is_regular_file(*path));
    EXPECT_EQ(path->stem(), "mos_unit_tests");
}

} // namespace
} // namespace mos
