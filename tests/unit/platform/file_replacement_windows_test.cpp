#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "held_file_windows.h"
#include "links_windows.h"
#include "platform/file_replacement.h"
#include "platform/output_file.h"
#include "platform/resolved_path.h"
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

TEST(FileReplacementWindows, AReaderThatSharesNothingIsWaitedFor) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    FileReplacement replacement(room / "file");
    ASSERT_TRUE(replacement.write(std::as_bytes(std::span("new", 3))));
    HeldFile held(room / "file");
    held.releaseAfter(std::chrono::milliseconds(200));
    EXPECT_TRUE(replacement.commit());
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementWindows, AHeldFileIsWaitedForBeforeItIsOpened) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    HeldFile held(room / "file");
    held.releaseAfter(std::chrono::milliseconds(200));
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(contentOf(room / "file"), "new");
}

TEST(FileReplacementWindows, AReaderThatStaysHasTheFileWrittenInPlace) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old and longer");
    // As most programs read: others may write, nobody may rename or delete.
    const HANDLE reader =
        CreateFileW((room / "file").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2900));
    CloseHandle(reader);
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementWindows, HalfOfAFileIsNotLeftWhereThereWasNone) {
    const TemporaryDirectory room;
    const test::SystemAnswers answers(test::Volume::Full);
    HANDLE reader = INVALID_HANDLE_VALUE;
    {
        FileReplacement replacement(room / "file");
        ASSERT_TRUE(replacement.write(std::as_bytes(std::span("new", 3))));
        const Names made = namesIn(room.path());
        ASSERT_EQ(made.size(), 1U);
        reader = CreateFileW((room / made.front()).c_str(), GENERIC_READ,
                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_FALSE(replacement.commit());
        EXPECT_EQ(replacement.error(), std::errc::no_space_on_device);
        CloseHandle(reader);
    }
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileReplacementWindows, AReadOnlyFileIsNotReplaced) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    SetFileAttributesW((room / "file").c_str(), FILE_ATTRIBUTE_READONLY);
    if (OutputFile(room / "file").isOpen()) {
        GTEST_SKIP() << "the mark keeps nobody out here: Wine's root may write everything";
    }
    std::error_code error;
    EXPECT_FALSE(replaceFile(room / "file", "new", FileAccess::Default, &error));
    EXPECT_EQ(error, std::errc::permission_denied);
    EXPECT_EQ(contentOf(room / "file"), "old");
    SetFileAttributesW((room / "file").c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(namesIn(room.path()), Names{"file"});
}

TEST(FileReplacementWindows, AttributesAreKept) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    SetFileAttributesW((room / "file").c_str(), FILE_ATTRIBUTE_HIDDEN);
    const DWORD before = GetFileAttributesW((room / "file").c_str());
    EXPECT_TRUE(replaceFile(room / "file", "new"));
    EXPECT_EQ(GetFileAttributesW((room / "file").c_str()) & FILE_ATTRIBUTE_HIDDEN,
              before & FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(contentOf(room / "file"), "new");
}

TEST(FileReplacementWindows, DevicesAndStreamsAreNotOpened) {
    const TemporaryDirectory room;
    for (const char* name : {"NUL", "nul.json", "COM1", "file:stream"}) {
        EXPECT_FALSE(replaceFile(room / name, "new")) << name;
    }
    EXPECT_EQ(namesIn(room.path()), Names{});
}

TEST(FileReplacementWindows, ALinkedDirectoryIsFollowed) {
    const TemporaryDirectory room;
    fs::create_directory(room / "kept");
    writeFile(room / "kept" / "file", "old");
    const fs::path resolved = canonicalPath(room.path());
    const test::DirectoryLink link(resolved / "kept", resolved / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    EXPECT_TRUE(replaceFile(resolved / "link" / "file", "new"));
    EXPECT_EQ(contentOf(room / "kept" / "file"), "new");
    EXPECT_EQ(namesIn(room / "kept"), Names{"file"});
}

TEST(FileReplacementWindows, ALinkToAFileIsFollowedAndStays) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old");
    if (!test::makeSymbolicLink("file", room / "link")) {
        GTEST_SKIP() << "no symbolic links here: Wine does not make them, Windows wants a right";
    }
    EXPECT_TRUE(replaceFile(room / "link", "new"));
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_NE(GetFileAttributesW((room / "link").c_str()) & FILE_ATTRIBUTE_REPARSE_POINT, 0U);
}

} // namespace
} // namespace mos
