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

    /// What is left of the current member's data.
    static std::string dataOf(ArchiveScanner& scanner) {
        std::string text;
        for (auto piece = scanner.data(); !piece.empty(); piece = scanner.data()) {
            text.append(reinterpret_cast<const char*>(piece.data()), piece.size());
        }
        return text;
    }

    TemporaryDirectory room;
};

/// Bytes that differ from place to place.
std::string longText(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i * 31 + i / 251);
    }
    return text;
}

TEST_F(ArchiveScannerTest, DataEndsWithItsMember) {
    ArchiveScanner scanner = scannerOf(member("a", "abcdefg") + member("b", "two"));
    ASSERT_TRUE(scanner.next().has_value());
    EXPECT_EQ(dataOf(scanner), "abcdefg");
    EXPECT_TRUE(scanner.data().empty());
}

TEST_F(ArchiveScannerTest, DataLongerThanAnyBufferComesInPieces) {
    const std::string data = longText(1'000'003);
    ArchiveScanner scanner = scannerOf(member("a", data) + member("b", "two"));
    ASSERT_TRUE(scanner.next().has_value());
    const std::span<const std::byte> first = scanner.data();
    EXPECT_GT(first.size(), 0U);
    EXPECT_LT(first.size(), data.size());
    const std::size_t size = first.size();
    EXPECT_EQ(dataOf(scanner), data.substr(size));
    ASSERT_TRUE(scanner.next().has_value());
    EXPECT_EQ(dataOf(scanner), "two");
}

TEST_F(ArchiveScannerTest, HeadersAndNamesAreReadWhereverABufferEnds) {
    // Sizes of data that put each byte of a header and of a name on every likely border.
    for (const std::size_t border : {4096U, 8192U, 65536U, 131072U}) {
        for (std::size_t before = 0; before < 80; ++before) {
            const std::string data = longText(border - before);
            ArchiveScanner scanner = scannerOf(member("a", data) + member("a/long/name", "two"));
            ASSERT_EQ(scanner.next().value().name, "a");
            ASSERT_EQ(dataOf(scanner), data);
            ASSERT_EQ(scanner.next().value().name, "a/long/name");
            ASSERT_EQ(dataOf(scanner), "two");
            ASSERT_FALSE(scanner.next().has_value());
        }
    }
}

TEST_F(ArchiveScannerTest, LongDataThatWasNotReadIsSkipped) {
    ArchiveScanner scanner = scannerOf(member("a", longText(1'000'003)) + member("b", "two"));
    ASSERT_TRUE(scanner.next().has_value());
    ASSERT_EQ(scanner.next().value().name, "b");
    EXPECT_EQ(dataOf(scanner), "two");
}

TEST_F(ArchiveScannerTest, DataThatWasNotReadIsSkipped) {
    ArchiveScanner scanner =
        scannerOf(member("a", "abcdefg") + member("b", "two") + member("c", "three"));
    ASSERT_TRUE(scanner.next().has_value());
    const auto second = scanner.next();
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(second->name, "b");
    const auto third = scanner.next();
    ASSERT_TRUE(third.has_value());
    EXPECT_EQ(third->name, "c");
    EXPECT_EQ(dataOf(scanner), "three");
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, ThereIsNoDataBeforeTheFirstAndAfterTheLastMember) {
    ArchiveScanner scanner = scannerOf(member("a", "one"));
    EXPECT_EQ(dataOf(scanner), "");
    ASSERT_TRUE(scanner.next().has_value());
    EXPECT_FALSE(scanner.next().has_value());
    EXPECT_EQ(dataOf(scanner), "");
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
    EXPECT_EQ(dataOf(scanner), "few bytes");
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, AFileThatShrinksMeanwhileEndsEarlier) {
    const std::string data = longText(1'000'000);
    ArchiveScanner scanner = scannerOf(member("a", data) + member("b", "two"));
    ASSERT_TRUE(scanner.next().has_value());
    std::filesystem::resize_file(room / "file", 500'031);
    EXPECT_EQ(dataOf(scanner), data.substr(0, 500'000));
    EXPECT_FALSE(scanner.hasFailed());
    EXPECT_FALSE(scanner.next().has_value());
}

TEST_F(ArchiveScannerTest, WhatCannotBeOpenedIsNotOpen) {
    EXPECT_FALSE(ArchiveScanner(room / "missing").isOpen());
    EXPECT_FALSE(ArchiveScanner(room.path()).isOpen());
    EXPECT_TRUE(scannerOf("").isOpen());
}

TEST_F(ArchiveScannerTest, GoesBackToTheFirstMember) {
    ArchiveScanner scanner = scannerOf(member("a", longText(100'000)) + member("b", "two"));
    for (int members = 0; members < 3; ++members) {
        for (int i = 0; i < members; ++i) {
            static_cast<void>(scanner.next());
        }
        static_cast<void>(scanner.data());
        EXPECT_TRUE(scanner.rewind());
        EXPECT_EQ(scanner.next()->name, "a");
        EXPECT_EQ(dataOf(scanner), longText(100'000));
        EXPECT_EQ(scanner.next()->name, "b");
        EXPECT_EQ(dataOf(scanner), "two");
        EXPECT_FALSE(scanner.next().has_value());
        EXPECT_TRUE(scanner.rewind());
    }
}

TEST_F(ArchiveScannerTest, WalksAFileThatWasReadBefore) {
    test::writeFile(room / "file", member("a", "one"));
    InputFile file(room / "file");
    std::array<std::byte, 40> buffer{};
    static_cast<void>(file.read(buffer));
    ArchiveScanner scanner(std::move(file));
    EXPECT_EQ(scanner.next()->name, "a");
    EXPECT_EQ(dataOf(scanner), "one");
}

TEST_F(ArchiveScannerTest, CannotGoBackWithoutAFile) {
    ArchiveScanner scanner(room / "missing");
    EXPECT_FALSE(scanner.rewind());
}

} // namespace
} // namespace mos
