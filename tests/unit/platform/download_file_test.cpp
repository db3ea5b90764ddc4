#include "platform/download_file.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "temporary_directory.h"

namespace mos {
namespace {

using test::bytesOf;
using test::contentOf;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;
using OpenResult = DownloadFile::OpenResult;

std::string readBack(const DownloadFile& file, std::uint64_t offset, std::size_t size) {
    std::string text(size, '\0');
    text.resize(file.readAt(offset, std::as_writable_bytes(std::span(text))));
    return text;
}

TEST(DownloadFile, IsClosedUntilItIsOpened) {
    const TemporaryDirectory room;
    DownloadFile file(room / "json.mos");
    EXPECT_EQ(file.path(), room / "json.mos");
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.write(bytesOf("text")));
    EXPECT_EQ(file.size(), 0U);
    EXPECT_EQ(readBack(file, 0, 10), "");
    file.remove();
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(DownloadFile, AClosedFileRemovesNothing) {
    const TemporaryDirectory room;
    writeFile(room / "json.mos", "another's");
    DownloadFile file(room / "json.mos");
    file.remove();
    EXPECT_EQ(contentOf(room / "json.mos"), "another's");
}

TEST(DownloadFile, TakesBytesAndGivesThemBack) {
    const TemporaryDirectory room;
    DownloadFile file(room / "json.mos");
    ASSERT_EQ(file.open(), OpenResult::Opened);
    EXPECT_TRUE(file.isOpen());
    EXPECT_TRUE(file.write(bytesOf("one ")));
    EXPECT_TRUE(file.write(bytesOf("two")));
    EXPECT_EQ(file.size(), 7U);
    EXPECT_EQ(readBack(file, 0, 100), "one two");
    EXPECT_EQ(readBack(file, 2, 3), "e t");
    EXPECT_EQ(readBack(file, 7, 10), "");
    EXPECT_EQ(readBack(file, 1000, 10), "");
    EXPECT_EQ(contentOf(room / "json.mos"), "one two");
}

TEST(DownloadFile, OpeningEmptiesTheFile) {
    const TemporaryDirectory room;
    writeFile(room / "json.mos", "a leftover");
    DownloadFile file(room / "json.mos");
    ASSERT_EQ(file.open(), OpenResult::Opened);
    EXPECT_EQ(contentOf(room / "json.mos"), "");
    EXPECT_TRUE(file.write(bytesOf("first")));
    ASSERT_EQ(file.open(), OpenResult::Opened);
    EXPECT_TRUE(file.write(bytesOf("2nd")));
    ASSERT_EQ(file.waitAndOpen(), OpenResult::Opened);
    EXPECT_TRUE(file.write(bytesOf("3")));
    EXPECT_EQ(contentOf(room / "json.mos"), "3");
}

TEST(DownloadFile, TheFileStaysWhenItsObjectGoes) {
    const TemporaryDirectory room;
    {
        DownloadFile file(room / "json.mos");
        ASSERT_EQ(file.open(), OpenResult::Opened);
        EXPECT_TRUE(file.write(bytesOf("text")));
    }
    EXPECT_EQ(contentOf(room / "json.mos"), "text");
}

TEST(DownloadFile, RemovingTakesTheFileAway) {
    const TemporaryDirectory room;
    DownloadFile file(room / "json.mos");
    ASSERT_EQ(file.open(), OpenResult::Opened);
    file.remove();
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
    EXPECT_EQ(file.open(), OpenResult::Opened);
}

TEST(DownloadFile, OneThatWasRemovedIsOpenedAgainFromItsStart) {
    const TemporaryDirectory room;
    DownloadFile file(room / "json.mos");
    ASSERT_EQ(file.open(), OpenResult::Opened);
    EXPECT_TRUE(file.write(bytesOf("first")));
    file.remove();
    ASSERT_EQ(file.open(), OpenResult::Opened);
    EXPECT_EQ(file.size(), 0U);
    EXPECT_TRUE(file.write(bytesOf("2")));
    EXPECT_EQ(file.size(), 1U);
    EXPECT_EQ(contentOf(room / "json.mos"), "2");
}

TEST(DownloadFile, CannotBeOpenedWithoutItsDirectoryOrInADirectorysPlace) {
    const TemporaryDirectory room;
    std::filesystem::create_directory(room / "directory");
    EXPECT_EQ(DownloadFile(room / "missing" / "json.mos").open(), OpenResult::Failed);
    EXPECT_EQ(DownloadFile(room / "missing" / "json.mos").waitAndOpen(), OpenResult::Failed);
    EXPECT_EQ(DownloadFile(room / "directory").open(), OpenResult::Failed);
}

TEST(DownloadFile, IsBusyWhileAnotherHoldsItAndIsNotEmptied) {
    const TemporaryDirectory room;
    DownloadFile first(room / "json.mos");
    ASSERT_EQ(first.open(), OpenResult::Opened);
    EXPECT_TRUE(first.write(bytesOf("first")));
    DownloadFile second(room / "json.mos");
    EXPECT_EQ(second.open(), OpenResult::Busy);
    EXPECT_FALSE(second.isOpen());
    EXPECT_EQ(contentOf(room / "json.mos"), "first");
    { const DownloadFile gone = std::move(first); }
    EXPECT_EQ(second.open(), OpenResult::Opened);
}

TEST(DownloadFile, WaitingEndsWhenTheOtherIsDoneAndTheNewFileIsTheOneThatIsFound) {
    const TemporaryDirectory room;
    DownloadFile first(room / "json.mos");
    ASSERT_EQ(first.open(), OpenResult::Opened);
    std::atomic<bool> firstIsDone = false;
    bool waited = false;
    OpenResult result = OpenResult::Failed;
    std::thread other([&] {
        DownloadFile second(room / "json.mos");
        result = second.waitAndOpen();
        waited = firstIsDone;
        static_cast<void>(second.write(bytesOf("second")));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    firstIsDone = true;
    first.remove();
    other.join();
    EXPECT_EQ(result, OpenResult::Opened);
    EXPECT_TRUE(waited);
    EXPECT_EQ(contentOf(room / "json.mos"), "second");
}

TEST(DownloadFile, ManyAtOnceNeverShareTheFile) {
    const TemporaryDirectory room;
    std::atomic<int> holders = 0;
    std::atomic<int> failures = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                DownloadFile file(room / "json.mos");
                if (file.waitAndOpen() != OpenResult::Opened || holders.fetch_add(1) != 0) {
                    ++failures;
                }
                if (!file.write(bytesOf("text")) || contentOf(room / "json.mos") != "text") {
                    ++failures;
                }
                holders.fetch_sub(1);
                file.remove();
            }
        });
    }
    for (std::jthread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

} // namespace
} // namespace mos
