#include "platform/file_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "platform/file_system_error.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::errorOf;
using test::TemporaryDirectory;
using test::writeFile;

TEST(FileSystem, NamesTheDirectoriesOfADirectory) {
    const TemporaryDirectory room;
    createDirectories(room / "one" / "below");
    createDirectories(room / "two");
    writeFile(room / "file", "text");
    EXPECT_THAT(directoriesIn(room.path()),
                testing::UnorderedElementsAre(room / "one", room / "two"));
    EXPECT_THAT(directoriesIn(room / "two"), testing::IsEmpty());
    EXPECT_THAT(directoriesIn(room / "nothing"), testing::IsEmpty());
    EXPECT_EQ(errorOf([&] { static_cast<void>(directoriesIn(room / "file")); }),
              "filesystem error: directory_iterator::directory_iterator: Not a directory [" +
                  (room / "file").string() + "]");
}

TEST(FileSystem, KnowsWhatIsThere) {
    const TemporaryDirectory room;
    writeFile(room / "file", "text");
    EXPECT_TRUE(pathExists(room / "file"));
    EXPECT_TRUE(pathExists(room.path()));
    EXPECT_FALSE(pathExists(room / "nothing"));
    EXPECT_FALSE(pathExists(room / "file" / "below a file"));
    EXPECT_TRUE(directoryExists(room.path()));
    EXPECT_FALSE(directoryExists(room / "file"));
    EXPECT_FALSE(directoryExists(room / "nothing"));
    EXPECT_FALSE(directoryExists(room / "file" / "below a file"));
}

TEST(FileSystem, CreatesADirectoryWithItsParents) {
    const TemporaryDirectory room;
    createDirectories(room / "a" / "b" / "c");
    EXPECT_TRUE(std::filesystem::is_directory(room / "a" / "b" / "c"));
    createDirectories(room / "a" / "b" / "c");
}

TEST(FileSystem, ADirectoryThatCannotBeCreatedIsAnErrorOfCreateDirectories) {
    const TemporaryDirectory room;
    writeFile(room / "file", "");
    const std::string path = (room / "file" / "below").string();
    EXPECT_EQ(errorOf([&] { createDirectories(path); }),
              "filesystem error: create_directories: Not a directory [" + path + "]");
}

TEST(FileSystem, RemovesATreeAndDoesNotMindANothing) {
    const TemporaryDirectory room;
    createDirectories(room / "a" / "b");
    writeFile(room / "a" / "b" / "file", "text");
    removeAll(room / "a");
    EXPECT_FALSE(std::filesystem::exists(room / "a"));
    removeAll(room / "a");
}

TEST(FileSystem, BelowAFileThereIsNothingToRemove) {
    const TemporaryDirectory room;
    writeFile(room / "file", "text");
    removeAll(room / "file" / "a");
    removeAll(room / "file" / "a" / "b");
    EXPECT_EQ(readFile(room / "file"), "text");
}

/// What the system says of a name that is too long.
std::string tooLong() {
    return std::make_error_code(std::errc::filename_too_long).message();
}

TEST(FileSystem, AnExistenceThatCannotBeToldIsAnErrorOfExists) {
    const std::string longName(5000, 'x');
    const std::string expected = "filesystem error: exists: " + tooLong() + " [" + longName + "]";
    EXPECT_EQ(errorOf([&] { static_cast<void>(pathExists(longName)); }), expected);
    EXPECT_EQ(errorOf([&] { static_cast<void>(directoryExists(longName)); }), expected);
}

TEST(FileSystem, ATreeThatCannotBeRemovedIsAnErrorOfRemoveAll) {
    const std::string longName(5000, 'x');
    EXPECT_EQ(errorOf([&] { removeAll(longName); }),
              "filesystem error: remove_all: " + tooLong() + " [" + longName + "]");
}

TEST(FileSystem, TellsTheCurrentDirectory) {
    EXPECT_EQ(currentDirectory(), std::filesystem::current_path());
}

TEST(ReadFile, ReadsEveryByte) {
    const TemporaryDirectory room;
    std::string everyByte;
    for (int value = 0; value < 256; ++value) {
        everyByte.push_back(static_cast<char>(value));
    }
    writeFile(room / "file", everyByte);
    EXPECT_EQ(readFile(room / "file"), everyByte);
}

TEST(ReadFile, ReadsFilesOfAnySize) {
    const TemporaryDirectory room;
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 1000000U}) {
        const std::string content(size, 'm');
        writeFile(room / "file", content);
        EXPECT_EQ(readFile(room / "file"), content) << size;
    }
}

TEST(ReadFile, ReadsNothingFromADirectoryOrAMissingFile) {
    const TemporaryDirectory room;
    EXPECT_EQ(readFile(room.path()), std::nullopt);
    EXPECT_EQ(readFile(room / "nothing"), std::nullopt);
}

TEST(FileSystem, TellsWhatSomethingIs) {
    const TemporaryDirectory room;
    test::writeFile(room / "file", "");
    EXPECT_EQ(entryKind(room / "file"), EntryKind::File);
    EXPECT_EQ(entryKind(room.path()), EntryKind::Directory);
    EXPECT_EQ(entryKind(room / "missing"), EntryKind::None);
    EXPECT_EQ(entryKind(room / "missing" / "more"), EntryKind::None);
}

TEST(FileSystem, TellsWhatIsBelowADirectory) {
    const TemporaryDirectory room;
    createDirectories(room / "tree" / "a" / "b");
    test::writeFile(room / "tree" / "a" / "file", "");
    test::writeFile(room / "tree" / "top", "");
    auto entries = treeBelow(room / "tree").value();
    std::ranges::sort(entries, {}, &TreeEntry::path);
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[0].path, std::filesystem::path("a"));
    EXPECT_EQ(entries[0].kind, EntryKind::Directory);
    EXPECT_EQ(entries[1].path, std::filesystem::path("a") / "b");
    EXPECT_EQ(entries[1].kind, EntryKind::Directory);
    EXPECT_EQ(entries[2].path, std::filesystem::path("a") / "file");
    EXPECT_EQ(entries[2].kind, EntryKind::File);
    EXPECT_EQ(entries[3].path, std::filesystem::path("top"));
    EXPECT_EQ(entries[3].kind, EntryKind::File);
    EXPECT_EQ(treeBelow(room / "tree" / "a" / "b").value().size(), 0U);
    EXPECT_FALSE(treeBelow(room / "missing").has_value());
}

TEST(FileSystem, ListsWhatIsInADirectory) {
    const TemporaryDirectory room;
    createDirectories(room / "tree" / "a" / "b");
    test::writeFile(room / "tree" / "file", "");
    auto entries = entriesIn(room / "tree");
    std::ranges::sort(entries);
    EXPECT_EQ(entries, (std::vector{room / "tree" / "a", room / "tree" / "file"}));
    EXPECT_THROW(static_cast<void>(entriesIn(room / "missing")), std::filesystem::filesystem_error);
}

} // namespace
} // namespace mos
