#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "held_file_windows.h"
#include "links_windows.h"
#include "platform/resolved_path.h"
#include "platform/staging_directory.h"
#include "system_answers_windows.h"
#include "temporary_directory.h"

namespace mos {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::HeldFile;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;
using Names = std::vector<std::string>;

TEST(StagingDirectoryWindows, OneThatNobodyHasOpenIsRemoved) {
    const TemporaryDirectory room;
    fs::create_directories(room / ".staging-1-0\x7f" / "json" / "src");
    writeFile(room / ".staging-1-0\x7f" / "json" / "src" / "file", "text");
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(StagingDirectoryWindows, OneThatIsInUseStays) {
    const TemporaryDirectory room;
    const StagingDirectory staging(room.path());
    fs::create_directory(staging.path() / "json");
    writeFile(staging.path() / "json" / "file", "text");
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(contentOf(staging.path() / "json" / "file"), "text");
}

TEST(StagingDirectoryWindows, OnlyDirectoriesWithAStagingNameAreRemoved) {
    const TemporaryDirectory room;
    fs::create_directory(room / ".staging-1-0");
    fs::create_directory(room / "staging-1-0\x7f");
    fs::create_directory(room / "json");
    fs::create_directory(room / ".staging-1-1\x7f");
    writeFile(room / ".staging-1-2\x7f", "a file");
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(namesIn(room.path()),
              (Names{".staging-1-0", ".staging-1-2\x7f", "json", "staging-1-0\x7f"}));
}

TEST(StagingDirectoryWindows, RemovingAnAbandonedOneFollowsNoLink) {
    const TemporaryDirectory room;
    fs::create_directory(room / "kept");
    writeFile(room / "kept" / "file", "text");
    fs::create_directory(room / ".staging-1-0\x7f");
    const fs::path resolved = canonicalPath(room.path());
    const test::DirectoryLink link(resolved / "kept", resolved / ".staging-1-0\x7f" / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
}

TEST(StagingDirectoryWindows, MovingOutTellsThatSomebodyHasItOpen) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    fs::create_directory(staging.path() / "json");
    HANDLE held = CreateFileW((staging.path() / "json").c_str(), FILE_LIST_DIRECTORY,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const std::error_code error = staging.moveOut("json", room / "json");
    CloseHandle(held);
    EXPECT_TRUE(error == std::errc::permission_denied ||
                error == std::errc::device_or_resource_busy)
        << error.message();
}

TEST(StagingDirectoryWindows, MovingOutWaitsForAScanner) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    fs::create_directory(staging.path() / "json");
    writeFile(staging.path() / "json" / "file", "text");
    {
        HeldFile held(staging.path() / "json" / "file");
        held.releaseAfter(std::chrono::milliseconds(200));
        EXPECT_EQ(staging.moveOut("json", room / "json"), std::error_code());
    }
    EXPECT_EQ(contentOf(room / "json" / "file"), "text");
}

TEST(StagingDirectoryWindows, PuttingInPlaceWaitsForAScannerOfTheOldFiles) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    fs::create_directory(room / "json");
    writeFile(room / "json" / "file", "old");
    fs::create_directory(staging.path() / "new");
    writeFile(staging.path() / "new" / "file", "new");
    {
        HeldFile held(room / "json" / "file");
        held.releaseAfter(std::chrono::milliseconds(200));
        EXPECT_EQ(staging.putInPlace("new", room / "json"), std::error_code());
    }
    EXPECT_EQ(contentOf(room / "json" / "file"), "new");
}

/// Whether `directory` can be opened as the system opens the one that something is moved to.
bool takesWhatIsMoved(const fs::path& directory) {
    const HANDLE handle = CreateFileW(directory.c_str(), FILE_ADD_SUBDIRECTORY | SYNCHRONIZE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != FALSE;
}

TEST(StagingDirectoryWindows, NothingIsMovedWhereTheLockLetsNobodyWrite) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    fs::create_directory(room / "json");
    writeFile(room / "json" / "file", "old");
    fs::create_directory(staging.path() / "new");
    EXPECT_EQ(staging.putInPlace("new", room / "json"), std::error_code());
    const Names names = namesIn(staging.path());
    ASSERT_EQ(names.size(), 1U);
    const fs::path taken = staging.path() / names.front();
    EXPECT_FALSE(takesWhatIsMoved(staging.path()));
    EXPECT_TRUE(takesWhatIsMoved(taken));
    EXPECT_EQ(namesIn(taken).size(), 1U);
    staging.removeContents();
    EXPECT_EQ(namesIn(staging.path()), Names{});
}

TEST(StagingDirectoryWindows, IsLockedWhereNoReparsePointsAreKnown) {
    const TemporaryDirectory room;
    const test::SystemAnswers answers(test::Volume::WithoutReparsePoints);
    fs::create_directory(room / ".staging-1-0\x7f");
    const StagingDirectory staging(room.path());
    ASSERT_FALSE(staging.path().empty()) << staging.error().message();
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(namesIn(room.path()), Names{staging.path().filename().string()});
}

TEST(StagingDirectoryWindows, TakesInWhatHasALongPath) {
    const TemporaryDirectory room;
    const std::size_t length = room.path().native().size();
    ASSERT_LT(length, 200U);
    const fs::path deep = room / std::string(225 - length, 'd');
    fs::create_directories(deep / "json");
    StagingDirectory staging(deep);
    EXPECT_EQ(staging.takeIn(deep / "json"), std::error_code());
    EXPECT_FALSE(fs::exists(deep / "json"));
}

TEST(StagingDirectoryWindows, WhatSomebodyHoldsIsNotRemovedByHalf) {
    const TemporaryDirectory room;
    fs::create_directories(room / "json" / "src");
    writeFile(room / "json" / "a", "text");
    writeFile(room / "json" / "src" / "b", "text");
    // As a program does that works in it.
    const HANDLE held = CreateFileW((room / "json" / "src").c_str(), FILE_LIST_DIRECTORY,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    const HANDLE above = CreateFileW((room / "json").c_str(), FILE_LIST_DIRECTORY,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    EXPECT_EQ(StagingDirectory::removeWhole(room / "json"), std::errc::device_or_resource_busy);
    CloseHandle(above);
    CloseHandle(held);
    EXPECT_EQ(contentOf(room / "json" / "a"), "text");
    EXPECT_EQ(contentOf(room / "json" / "src" / "b"), "text");
    EXPECT_EQ(StagingDirectory::removeWhole(room / "json"), std::error_code());
    EXPECT_EQ(namesIn(room.path()), Names{});
}

} // namespace
} // namespace mos
