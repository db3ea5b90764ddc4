#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>

#include "platform/file_system.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

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

TEST(FileSystemPosix, WhatDoesNotTellItsSizeIsReadToItsEnd) {
    const TemporaryDirectory room;
    ASSERT_EQ(::mkfifo((room / "pipe").c_str(), 0600), 0);
    const std::string large = std::string(50'000, 'a') + std::string(50'000, 'b');
    std::thread writer([&] { test::writeFile(room / "pipe", large); });
    const std::optional<std::string> content = readFile(room / "pipe");
    writer.join();
    EXPECT_EQ(content, large);
}

TEST(FileSystemPosix, AFileThatCannotBeReadHasNoContent) {
    // The pages before the first are in no process.
    EXPECT_EQ(readFile("/proc/self/mem"), std::nullopt);
}

TEST(FileSystemPosix, TheFilesBelowWhatIsNotThereAreAnError) {
    const TemporaryDirectory room;
    std::string text = "no error";
    try {
        static_cast<void>(regularFilesBelow(room / "nothing"));
    } catch (const std::filesystem::filesystem_error& error) {
        text = error.what();
    }
    EXPECT_EQ(text, "filesystem error: recursive_directory_iterator::recursive_directory_iterator: "
                    "No such file or directory [" +
                        (room / "nothing").string() + "]");
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

TEST(FileSystemPosix, LinksAreTheirOwnKind) {
    const TemporaryDirectory room;
    createDirectories(room / "kept" / "inner");
    createDirectories(room / "tree");
    std::filesystem::create_directory_symlink(room / "kept", room / "tree" / "link");
    std::filesystem::create_symlink("nowhere", room / "tree" / "dangling");
    ASSERT_EQ(::mkfifo((room / "tree" / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(entryKind(room / "tree" / "link"), EntryKind::Link);
    EXPECT_EQ(entryKind(room / "tree" / "dangling"), EntryKind::Link);
    EXPECT_EQ(entryKind(room / "tree" / "pipe"), EntryKind::Other);
    auto entries = treeBelow(room / "tree").value();
    std::ranges::sort(entries, {}, &TreeEntry::path);
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].path, "dangling");
    EXPECT_EQ(entries[0].kind, EntryKind::Link);
    EXPECT_EQ(entries[1].path, "link");
    EXPECT_EQ(entries[1].kind, EntryKind::Link);
    EXPECT_EQ(entries[2].path, "pipe");
    EXPECT_EQ(entries[2].kind, EntryKind::Other);
    EXPECT_EQ(entriesIn(room / "tree").size(), 3U);
}

} // namespace
} // namespace mos
