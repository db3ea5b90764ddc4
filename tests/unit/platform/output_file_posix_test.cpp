#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>

#include "platform/output_file.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::TemporaryDirectory;

TEST(OutputFilePosix, ALinkIsFollowedAndIsNothingNew) {
    const TemporaryDirectory room;
    std::filesystem::create_symlink("file", room / "link");
    EXPECT_FALSE(OutputFile(room / "link", OutputMode::CreateNew).isOpen());
    EXPECT_FALSE(std::filesystem::exists(room / "file"));
    OutputFile file(room / "link");
    EXPECT_TRUE(file.write(std::as_bytes(std::span(std::string_view("text")))));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf(room / "file"), "text");
}

TEST(OutputFilePosix, AFullDiskIsReported) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no device /dev/full";
    }
    OutputFile file("/dev/full");
    ASSERT_TRUE(file.isOpen());
    EXPECT_FALSE(file.write(std::as_bytes(std::span(std::string_view("text")))));
    EXPECT_FALSE(file.close());
}

} // namespace
} // namespace mos
