#include "platform/file_replacement.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/file_system.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::bytesOf;
using test::contentOf;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;

TEST(FileReplacement, MakesANewFile) {
    const TemporaryDirectory room;
    EXPECT_TRUE(replaceFile(room / "file", "new\n"));
    EXPECT_EQ(contentOf(room / "file"), "new\n");
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{"file"});
}

TEST(FileReplacement, ReplacesAFileByAShorterOne) {
    const TemporaryDirectory room;
    writeFile(room / "file", "a long old text");
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{"file"});
}

TEST(FileReplacement, TakesTheContentInPieces) {
    const TemporaryDirectory room;
    FileReplacement replacement(room / "file");
    ASSERT_TRUE(replacement.isOpen());
    EXPECT_TRUE(replacement.write(bytesOf("one ")));
    EXPECT_TRUE(replacement.write(bytesOf("")));
    EXPECT_TRUE(replacement.write(bytesOf("two")));
    EXPECT_TRUE(replacement.commit());
    EXPECT_EQ(contentOf(room / "file"), "one two");
}

TEST(FileReplacement, TheOldContentIsThereUntilTheCommit) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    {
        FileReplacement replacement(room / "file");
        EXPECT_TRUE(replacement.write(bytesOf("new")));
        EXPECT_EQ(contentOf(room / "file"), "old");
    }
    EXPECT_EQ(contentOf(room / "file"), "old");
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{"file"});
}

TEST(FileReplacement, ADirectoryCannotBeReplaced) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / "directory");
    EXPECT_FALSE(FileReplacement(room / "directory").isOpen());
    EXPECT_FALSE(replaceFile(room / "directory", "text"));
    EXPECT_TRUE(std::filesystem::is_directory(room / "directory"));
}

TEST(FileReplacement, NothingIsMadeInAMissingDirectory) {
    const TemporaryDirectory room;
    EXPECT_FALSE(FileReplacement(room / "missing" / "file").isOpen());
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(FileReplacement, APathWithoutAFileNameCannotBeWritten) {
    const TemporaryDirectory room;
    EXPECT_FALSE(FileReplacement("").isOpen());
    EXPECT_FALSE(FileReplacement(room / "file" / "").isOpen());
}

TEST(FileReplacement, AReplacementThatIsNotOpenWritesAndCommitsNothing) {
    const TemporaryDirectory room;
    FileReplacement replacement(room / "missing" / "file");
    EXPECT_FALSE(replacement.write(bytesOf("text")));
    EXPECT_FALSE(replacement.commit());
}

TEST(FileReplacement, NoWriterWaitsForAnother) {
    const TemporaryDirectory room;
    FileReplacement first(room / "file");
    EXPECT_TRUE(first.write(bytesOf("first")));
    EXPECT_TRUE(replaceFile(room / "file", "second"));
    EXPECT_EQ(contentOf(room / "file"), "second");
    EXPECT_TRUE(first.commit());
    EXPECT_EQ(contentOf(room / "file"), "first");
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{"file"});
}

TEST(FileReplacement, WhatNobodyWritesAnyMoreIsRemoved) {
    const TemporaryDirectory room;
    writeFile(room / ".mos-new-1-0", "half");
    writeFile(room / ".mos-new-1-x", "somebody's own");
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(namesIn(room.path()), (std::vector<std::string>{".mos-new-1-x", "file"}));
    writeFile(room / ".mos-new-2-0", "half");
    FileReplacement written(room / "file");
    removeAbandonedReplacementsIn(room.path());
    EXPECT_EQ(namesIn(room.path()).size(), 3U);
    EXPECT_TRUE(written.commit());
    EXPECT_EQ(namesIn(room.path()), (std::vector<std::string>{".mos-new-1-x", "file"}));
}

TEST(FileReplacement, NobodyReadsHalfOfAFileInADirectoryThatComesAndGoes) {
    const TemporaryDirectory room;
    const std::string content(300000, 'x');
    const std::filesystem::path file = room / "directory" / "file";
    std::atomic<bool> isOver = false;
    std::atomic<int> halves = 0;
    const auto repeat = [&isOver](const auto& step) {
        return std::jthread([&isOver, &step] {
            while (!isOver) {
                step();
            }
        });
    };
    const auto write = [&] {
        createDirectories(file.parent_path());
        static_cast<void>(replaceFile(file, content));
    };
    const auto read = [&] {
        const auto found = readFile(file);
        halves += found && found->size() != content.size() ? 1 : 0;
    };
    const auto remove = [&] { removeAll(file.parent_path()); };
    {
        const std::array threads{repeat(write), repeat(write), repeat(read), repeat(remove)};
        std::this_thread::sleep_for(std::chrono::seconds(1));
        isOver = true;
    }
    EXPECT_EQ(halves, 0);
}

} // namespace
} // namespace mos
