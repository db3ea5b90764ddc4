#include "archive/archive_scanner.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "archive/zip_bytes.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::LocalHeader;
using test::member;
using test::TemporaryDirectory;

class ArchiveScannerTest : public testing::Test {
protected:
    ArchiveScanner scannerOf(const std::string& bytes) {
        test::writeFile(room / "file", bytes);
        return ArchiveScanner(room / "file");
    }

    /// Up to `size` bytes of the current member's data.
    static std::string readData(ArchiveScanner& scanner, std::size_t size) {
        std::string text(size, '\0');
        text.resize(scanner.readData(std::as_writable_bytes(std::span(text))));
        return text;
    }

    TemporaryDirectory room;
};

TEST_F(ArchiveScannerTest, DataIsReadInPiecesUpToTheEndOfTheMember) {
    ArchiveScanner scanner = scannerOf(member("a", "abcdefg") + member("b", "two"));
    ASSERT_TRUE(scanner.next().has_value());
    EXPECT_EQ(readData(scanner, 3), "abc");
    EXPECT_EQ(readData(scanner, 3), "def");
    EXPECT_EQ(readData(scanner, 3), "g");
    EXPECT_EQ(readData(scanner, 3), "");
}

TEST_F(ArchiveScannerTest, DataThatWasNotReadIsSkipped) {
    ArchiveScanner scanner =
        scannerOf(member("a", "abcdefg") + member("b", "two") + member("c", "three"));
    ASSERT_TRUE(scanner.next().has_value());
    EXPECT_EQ(readData(scanner, 2), "ab");
    const auto second = scanner.next();
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(second->name, "b");
    const auto third = scanner.next();
    ASSERT_TRUE(third.has_value());
    EXPECT_EQ(third->name, "c");
    EXPECT_EQ(readData(scanner, 10), "three");
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, ThereIsNoDataBeforeTheFirstAndAfterTheLastMember) {
    ArchiveScanner scanner = scannerOf(member("a", "one"));
    EXPECT_EQ(readData(scanner, 10), "");
    ASSERT_TRUE(scanner.next().has_value());
    EXPECT_FALSE(scanner.next().has_value());
    EXPECT_EQ(readData(scanner, 10), "");
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, AMemberTellsWhatItClaimsAndWhatIsThere) {
    LocalHeader header;
    header.nameLength = 1;
    header.uncompressedSize = 0xFFFFFFF0;
    ArchiveScanner scanner = scannerOf(header.bytes() + "a" + "few bytes");
    const auto only = scanner.next();
    ASSERT_TRUE(only.has_value());
    EXPECT_EQ(only->claimedSize, 0xFFFFFFF0U);
    EXPECT_EQ(only->availableSize, 9U);
    EXPECT_EQ(readData(scanner, 100), "few bytes");
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, AFileThatShrinksMeanwhileEndsEarlier) {
    const std::string data(100'000, 'x');
    ArchiveScanner scanner = scannerOf(member("a", data) + member("b", "two"));
    ASSERT_TRUE(scanner.next().has_value());
    std::filesystem::resize_file(room / "file", 50'031);
    EXPECT_EQ(readData(scanner, 200'000), std::string(50'000, 'x'));
    EXPECT_EQ(readData(scanner, 10), "");
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, WhatCannotBeOpenedIsNotOpen) {
    EXPECT_FALSE(ArchiveScanner(room / "missing").isOpen());
    EXPECT_FALSE(ArchiveScanner(room.path()).isOpen());
    EXPECT_TRUE(scannerOf("").isOpen());
}

} // namespace
} // namespace mos
