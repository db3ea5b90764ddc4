#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/staging_directory.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;

TEST(StagingDirectoryPosix, OneOfAKilledProcessIsRemoved) {
    const TemporaryDirectory room;
    const pid_t child = ::fork();
    if (child == 0) {
        const StagingDirectory staging(room.path());
        std::filesystem::create_directories(staging.path() / "json" / "src");
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    ASSERT_EQ(namesIn(room.path()).size(), 1U);
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(StagingDirectoryPosix, OnlyDirectoriesWithAStagingNameAreRemoved) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / ".staging-1-0");
    std::filesystem::create_directory(room / "staging-1-0\x7f");
    std::filesystem::create_directory(room / "json");
    std::filesystem::create_directory(room / ".staging-1-1\x7f");
    writeFile(room / ".staging-1-2\x7f", "a file");
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(namesIn(room.path()), (std::vector<std::string>{".staging-1-0", ".staging-1-2\x7f",
                                                              "json", "staging-1-0\x7f"}));
}

TEST(StagingDirectoryPosix, RemovingAnAbandonedOneFollowsNoLink) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / "kept");
    writeFile(room / "kept" / "file", "text");
    std::filesystem::create_directory(room / ".staging-1-0\x7f");
    std::filesystem::create_directory_symlink(room / "kept", room / ".staging-1-0\x7f" / "link");
    std::filesystem::create_directory_symlink(room / "kept", room / ".staging-1-1\x7f");
    StagingDirectory::removeAbandoned(room.path());
    EXPECT_EQ(namesIn(room.path()), (std::vector<std::string>{".staging-1-1\x7f", "kept"}));
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
}

TEST(StagingDirectoryPosix, ADanglingLinkIsNotReplaced) {
    const TemporaryDirectory room;
    StagingDirectory staging(room.path());
    std::filesystem::create_directory(staging.path() / "json");
    std::filesystem::create_symlink("nowhere", room / "json");
    EXPECT_EQ(staging.moveOut("json", room / "json"), std::errc::file_exists);
    EXPECT_TRUE(std::filesystem::is_symlink(room / "json"));
}

TEST(StagingDirectoryPosix, RemovingTheAbandonedOnesDoesNotDisturbThoseThatAreBeingMade) {
    const TemporaryDirectory room;
    constexpr int rounds = 50;
    const StagingDirectory unused(room.path());
    std::atomic<bool> done = false;
    std::vector<std::thread> removers;
    for (int i = 0; i < 3; ++i) {
        removers.emplace_back([&] {
            while (!done) {
                StagingDirectory::removeAbandoned(room.path());
            }
        });
    }
    int moved = 0;
    for (int round = 0; round < rounds; ++round) {
        StagingDirectory staging(room.path());
        std::filesystem::create_directory(staging.path() / "json");
        moved += staging.moveOut("json", room / ("json" + std::to_string(round))) ? 0 : 1;
    }
    done = true;
    for (std::thread& remover : removers) {
        remover.join();
    }
    EXPECT_EQ(moved, rounds);
    EXPECT_TRUE(std::filesystem::exists(unused.path()));
    EXPECT_EQ(namesIn(room.path()).size(), static_cast<std::size_t>(rounds) + 1);
}

TEST(StagingDirectoryPosix, ALinkIsMovedItself) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / "kept");
    writeFile(room / "kept" / "file", "text");
    StagingDirectory staging(room.path());
    std::filesystem::create_directory_symlink(room / "kept", room / "json");
    std::filesystem::create_directory(staging.path() / "new");
    EXPECT_EQ(staging.putInPlace("new", room / "json"), std::error_code());
    EXPECT_FALSE(std::filesystem::is_symlink(room / "json"));
    std::filesystem::create_symlink("nowhere", room / "text");
    EXPECT_EQ(staging.takeIn(room / "text"), std::error_code());
    EXPECT_FALSE(std::filesystem::is_symlink(room / "text"));
    staging.removeContents();
    EXPECT_EQ(contentOf(room / "kept" / "file"), "text");
}

} // namespace
} // namespace mos
