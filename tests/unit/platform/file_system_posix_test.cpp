#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "platform/file_system.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

/// The text of the file-system error that `operation` raises.
std::string errorOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const std::filesystem::filesystem_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(FileSystemPosix, AnExistenceThatCannotBeToldIsAnErrorOfExists) {
    const std::string longName(5000, 'x');
    const std::string expected = "filesystem error: exists: File name too long [" + longName + "]";
    EXPECT_EQ(errorOf([&] { static_cast<void>(pathExists(longName)); }), expected);
    EXPECT_EQ(errorOf([&] { static_cast<void>(directoryExists(longName)); }), expected);
}

TEST(FileSystemPosix, ATreeThatCannotBeRemovedIsAnErrorOfRemoveAll) {
    const std::string longName(5000, 'x');
    EXPECT_EQ(errorOf([&] { removeAll(longName); }),
              "filesystem error: remove_all: File name too long [" + longName + "]");
}

TEST(FileSystemPosix, ADanglingLinkIsNotThere) {
    const TemporaryDirectory room;
    std::filesystem::create_symlink("nowhere", room / "link");
    EXPECT_FALSE(pathExists(room / "link"));
    EXPECT_FALSE(directoryExists(room / "link"));
}

TEST(FileSystemPosix, ALinkThatLeadsToItselfIsAnErrorOfExists) {
    const TemporaryDirectory room;
    std::filesystem::create_symlink("link", room / "link");
    const std::string expected = "filesystem error: exists: Too many levels of symbolic links [" +
                                 (room / "link").string() + "]";
    try {
        static_cast<void>(pathExists(room / "link"));
        FAIL() << "no error";
    } catch (const std::filesystem::filesystem_error& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
}

TEST(FileSystemPosix, RemovingATreeDoesNotFollowItsLinks) {
    const TemporaryDirectory room;
    createDirectories(room / "kept");
    test::writeFile(room / "kept" / "file", "text");
    createDirectories(room / "tree");
    std::filesystem::create_directory_symlink(room / "kept", room / "tree" / "link");
    removeAll(room / "tree");
    EXPECT_EQ(test::namesIn(room.path()), std::vector<std::string>{"kept"});
    EXPECT_EQ(test::contentOf(room / "kept" / "file"), "text");
}

TEST(FileSystemPosix, ReadsAFileThatDoesNotTellItsSize) {
    const std::optional<std::string> status = readFile("/proc/self/status");
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->substr(0, 6), "Name:\t");
}

TEST(FileSystemPosix, ARemovedCurrentDirectoryIsAnErrorOfCurrentPath) {
    const TemporaryDirectory room;
    const std::filesystem::path before = currentDirectory();
    createDirectories(room / "gone");
    std::filesystem::current_path(room / "gone");
    std::filesystem::remove(room / "gone");
    std::string text = "no error";
    try {
        static_cast<void>(currentDirectory());
    } catch (const std::filesystem::filesystem_error& error) {
        text = error.what();
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(text, "filesystem error: current_path: No such file or directory");
}

} // namespace
} // namespace mos
