#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "held_file_windows.h"
#include "links_windows.h"
#include "platform/file_system.h"
#include "platform/file_system_error.h"
#include "platform/full_path_windows.h"
#include "platform/resolved_path.h"
#include "system_answers_windows.h"
#include "temporary_directory.h"

namespace mos {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::errorOf;
using test::HeldFile;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;
using Names = std::vector<std::string>;

TEST(FileSystemWindows, ReadOnlyFilesGoWithTheirTree) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree" / "deep");
    writeFile(room / "tree" / "deep" / "file", "text");
    ASSERT_NE(
        SetFileAttributesW((room / "tree" / "deep" / "file").c_str(), FILE_ATTRIBUTE_READONLY),
        FALSE);
    removeAll(room / "tree");
    EXPECT_EQ(namesIn(room.path()), Names{});
}

/// Makes what the usual form of a path does not reach.
void makeFile(const fs::path& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
}

TEST(FileSystemWindows, NamesThatEndInADotOrABlankGoWithTheirTree) {
    const TemporaryDirectory room;
    const fs::path tree = verbatimPath(room / "tree");
    fs::create_directories(room / "tree");
    makeFile(tree / "file.");
    makeFile(tree / "file ");
    ASSERT_NE(CreateDirectoryW((tree / "deep.").c_str(), nullptr), FALSE);
    makeFile(tree / "deep." / "file");
    removeAll(room / "tree");
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileSystemWindows, PathsThatAreTooLongElsewhereGoWithTheirTree) {
    const TemporaryDirectory room;
    fs::path deep = verbatimPath(room / "tree");
    fs::create_directories(room / "tree");
    for (int i = 0; i < 5; ++i) {
        deep /= std::wstring(100, L'd');
        ASSERT_NE(CreateDirectoryW(deep.c_str(), nullptr), FALSE);
    }
    makeFile(deep / "file");
    removeAll(room / "tree");
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileSystemWindows, WhereNoReparsePointsAreKnownEverythingGoesAllTheSame) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree" / "deep");
    writeFile(room / "tree" / "deep" / "file", "text");
    const test::SystemAnswers answers(test::Volume::WithoutReparsePoints);
    EXPECT_EQ(entryKind(room / "tree"), EntryKind::Directory);
    EXPECT_EQ(entryKind(room / "tree" / "deep" / "file"), EntryKind::File);
    removeAll(room / "tree");
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileSystemWindows, AFileThatIsHeldForAMomentIsRemovedAllTheSame) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree");
    writeFile(room / "tree" / "file", "text");
    HeldFile held(room / "tree" / "file");
    held.releaseAfter(std::chrono::milliseconds(200));
    removeAll(room / "tree");
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileSystemWindows, AFileThatStaysHeldIsAnErrorAfterThreeSeconds) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree");
    writeFile(room / "tree" / "file", "text");
    const HeldFile held(room / "tree" / "file");
    const std::string path = (room / "tree").string();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(errorOf([&] { removeAll(path); }),
              "filesystem error: remove_all: " +
                  std::make_error_code(std::errc::device_or_resource_busy).message() + " [" + path +
                  "]");
    const auto duration = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(duration, std::chrono::milliseconds(2900));
    EXPECT_LT(duration, std::chrono::seconds(20));
    EXPECT_EQ(namesIn(room / "tree"), Names{"file"});
}

TEST(FileSystemWindows, OneFileThatIsHeldForAMomentIsRemovedAllTheSame) {
    const TemporaryDirectory room;
    writeFile(room / "file", "text");
    HeldFile held(room / "file");
    held.releaseAfter(std::chrono::milliseconds(200));
    std::error_code error;
    EXPECT_TRUE(removeFile(room / "file", error));
    EXPECT_FALSE(error);
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileSystemWindows, AJunctionGoesWithoutWhatItLeadsTo) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree");
    fs::create_directories(room / "kept");
    writeFile(room / "kept" / "file", "text");
    if (!test::makeJunction(canonicalPath(room / "kept"), room / "tree" / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    removeAll(room / "tree");
    EXPECT_EQ(namesIn(room.path()), Names{"kept"});
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
}

TEST(FileSystemWindows, ATreeThatIsALinkGoesAlone) {
    const TemporaryDirectory room;
    fs::create_directories(room / "kept");
    writeFile(room / "kept" / "file", "text");
    if (!test::makeJunction(canonicalPath(room / "kept"), room / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    removeAll(room / "link");
    EXPECT_EQ(namesIn(room.path()), Names{"kept"});
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
}

TEST(FileSystemWindows, NothingBehindALinkIsEverRemoved) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree");
    fs::create_directories(room / "kept");
    writeFile(room / "kept" / "file", "text");
    const fs::path tree = canonicalPath(room / "tree");
    const test::DirectoryLink link(canonicalPath(room / "kept"), tree / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    // Under Wine the link itself cannot be removed, which is an error.
    static_cast<void>(errorOf([&] { removeAll(tree / "link"); }));
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
    static_cast<void>(errorOf([&] { removeAll(tree); }));
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
}

TEST(FileSystemWindows, ALinkThatLeadsToItselfIsAnErrorOfExists) {
    const TemporaryDirectory room;
    if (!test::makeJunction(canonicalPath(room.path()) / "link", room / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    EXPECT_NE(errorOf([&] { static_cast<void>(pathExists(room / "link")); }), "no error");
}

TEST(FileSystemWindows, AJunctionToNothingIsNotThere) {
    const TemporaryDirectory room;
    if (!test::makeJunction(canonicalPath(room.path()) / "missing", room / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    EXPECT_FALSE(pathExists(room / "link"));
    EXPECT_FALSE(directoryExists(room / "link"));
}

TEST(RegularFilesBelowWindows, LinkedDirectoriesAreNotEntered) {
    const TemporaryDirectory room;
    fs::create_directories(room / "tree" / "deep");
    writeFile(room / "tree" / "deep" / "file", "text");
    const fs::path tree = canonicalPath(room / "tree");
    const test::DirectoryLink link(tree / "deep", tree / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    const std::vector<FoundFile> found = regularFilesBelow(tree);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().path, tree / "deep" / "file");
    EXPECT_FALSE(found.front().isLink);
}

TEST(CreateDirectoriesWindows, ALinkedDirectoryIsADirectory) {
    const TemporaryDirectory room;
    fs::create_directories(room / "kept");
    const fs::path resolved = canonicalPath(room.path());
    const test::DirectoryLink link(resolved / "kept", resolved / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    createDirectories(resolved / "link" / "new");
    EXPECT_EQ(namesIn(room / "kept"), Names{"new"});
}

TEST(TreeBelowWindows, ALinkIsNotFollowed) {
    const TemporaryDirectory room;
    fs::create_directories(room / "kept");
    writeFile(room / "kept" / "file", "text");
    fs::create_directories(room / "tree");
    const fs::path tree = canonicalPath(room / "tree");
    const test::DirectoryLink link(canonicalPath(room / "kept"), tree / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    EXPECT_EQ(entryKind(tree / "link"), EntryKind::Link);
    const auto entries = treeBelow(tree).value();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries.front().path, fs::path("link"));
    EXPECT_EQ(entries.front().kind, EntryKind::Link);
}

} // namespace
} // namespace mos
