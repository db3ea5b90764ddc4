#include "archive/package_archive.h"

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/zip_bytes.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using namespace std::string_literals;
using test::LocalHeader;
using test::member;
using test::TemporaryDirectory;

using NamesAndData = std::vector<std::pair<std::string, std::string>>;

ArchiveEntry entryOf(std::string name, std::string_view data) {
    const auto bytes = std::as_bytes(std::span(data));
    return {std::move(name), {bytes.begin(), bytes.end()}};
}

NamesAndData textOf(const std::vector<ArchiveEntry>& entries) {
    NamesAndData pairs;
    for (const ArchiveEntry& entry : entries) {
        std::string data;
        for (const std::byte byte : entry.data) {
            data += std::to_integer<char>(byte);
        }
        pairs.emplace_back(entry.name, data);
    }
    return pairs;
}

class Archive : public testing::Test {
protected:
    [[nodiscard]] std::string written(const std::vector<ArchiveEntry>& entries) const {
        std::string error = "untouched";
        EXPECT_TRUE(PackageArchive::write(file, entries, &error));
        EXPECT_EQ(error, "untouched");
        return test::contentOf(file);
    }

    [[nodiscard]] NamesAndData readBack() const {
        std::vector<ArchiveEntry> entries;
        std::string error = "untouched";
        EXPECT_TRUE(PackageArchive::read(file, entries, &error));
        EXPECT_EQ(error, "untouched");
        return textOf(entries);
    }

    [[nodiscard]] NamesAndData readOf(std::string_view bytes) const {
        test::writeFile(file, bytes);
        return readBack();
    }

    TemporaryDirectory room;
    std::filesystem::path file = room / "archive.mos";
};

using ArchiveWriter = Archive;
using ArchiveReader = Archive;

TEST_F(ArchiveWriter, NoEntriesGiveTheEndRecordAlone) {
    EXPECT_EQ(written({}), "PK\x05\x06"s + std::string(18, '\0'));
}

TEST_F(ArchiveWriter, EveryFieldHasItsPlaceAndValue) {
    // Two members, one of them empty, with their CRC-32 0xCBF43926 and 0.
    const std::string expected =
        "PK\x03\x04\x0A\0\0\0\0\0\0\0\0\0\x26\x39\xF4\xCB\x09\0\0\0\x09\0\0\0\x05\0\0\0"
        "a.txt123456789"
        "PK\x03\x04\x0A\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x03\0\0\0"
        "b/c"
        "PK\x01\x02\x14\0\x0A\0\0\0\0\0\0\0\0\0\x26\x39\xF4\xCB\x09\0\0\0\x09\0\0\0\x05\0"
        "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
        "a.txt"
        "PK\x01\x02\x14\0\x0A\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x03\0"
        "\0\0\0\0\0\0\0\0\0\0\0\0\x2C\0\0\0"
        "b/c"
        "PK\x05\x06\0\0\0\0\x02\0\x02\0\x64\0\0\0\x4D\0\0\0\0\0"s;
    EXPECT_EQ(written({entryOf("a.txt", "123456789"), entryOf("b/c", "")}), expected);
}

TEST_F(ArchiveWriter, ABackslashIsStoredAsASlashInBothHeaders) {
    EXPECT_EQ(written({entryOf("src\\main.moss", "x")}), written({entryOf("src/main.moss", "x")}));
    EXPECT_EQ(readBack(), (NamesAndData{{"src/main.moss", "x"}}));
}

TEST_F(ArchiveWriter, TheSameEntriesGiveTheSameBytes) {
    const std::vector<ArchiveEntry> entries{entryOf("a", "one"), entryOf("b", "two")};
    const std::string first = written(entries);
    EXPECT_EQ(written(entries), first);
}

TEST_F(ArchiveWriter, AnExistingFileIsReplaced) {
    test::writeFile(file, std::string(5000, 'x'));
    EXPECT_EQ(written({}).size(), 22U);
}

TEST_F(ArchiveWriter, MoreEntriesThanTheFieldHoldsHaveATruncatedCount) {
    const std::vector<ArchiveEntry> entries(65537, entryOf("n", ""));
    const std::string bytes = written(entries);
    EXPECT_EQ(bytes.size(), 65537 * (31 + 47) + 22U);
    EXPECT_EQ(bytes.substr(bytes.size() - 22, 12), "PK\x05\x06\0\0\0\0\x01\0\x01\0"s);
    EXPECT_EQ(readBack().size(), 65537U);
}

TEST_F(ArchiveWriter, ANameLongerThanTheFieldHoldsHasATruncatedLength) {
    const std::string bytes = written({entryOf(std::string(65536 + 3, 'n'), "")});
    EXPECT_EQ(bytes.size(), 30 + 46 + 2 * 65539 + 22U);
    EXPECT_EQ(bytes.substr(26, 2), "\x03\0"s);
}

TEST_F(ArchiveWriter, AFileInAMissingDirectoryCannotBeCreated) {
    const auto path = room / "missing/archive.mos";
    std::string error;
    EXPECT_FALSE(PackageArchive::write(path, {}, &error));
    EXPECT_EQ(error, "Failed to create archive file: " + path.string());
    EXPECT_FALSE(PackageArchive::write(path, {}, nullptr));
}

TEST_F(ArchiveWriter, ADirectoryCannotBeCreatedAsAFile) {
    std::string error;
    EXPECT_FALSE(PackageArchive::write(room.path(), {}, &error));
    EXPECT_EQ(error, "Failed to create archive file: " + room.path().string());
}

TEST_F(ArchiveReader, WhatWasWrittenIsReadInTheSameOrder) {
    const std::string allBytes = [] {
        std::string bytes;
        for (int value = 0; value < 256; ++value) {
            bytes += static_cast<char>(value);
        }
        return bytes;
    }();
    std::ignore = written({entryOf("z", allBytes), entryOf("a\\b", ""), entryOf("z", "again")});
    EXPECT_EQ(readBack(), (NamesAndData{{"z", allBytes}, {"a/b", ""}, {"z", "again"}}));
}

TEST_F(ArchiveReader, MembersAreAppendedToWhatIsThere) {
    test::writeFile(file, member("b", "two"));
    std::vector<ArchiveEntry> entries{entryOf("a", "one")};
    EXPECT_TRUE(PackageArchive::read(file, entries, nullptr));
    EXPECT_EQ(textOf(entries), (NamesAndData{{"a", "one"}, {"b", "two"}}));
}

TEST_F(ArchiveReader, AMissingFileCannotBeOpened) {
    const auto path = room / "missing.mos";
    std::vector<ArchiveEntry> entries{entryOf("a", "one")};
    std::string error;
    EXPECT_FALSE(PackageArchive::read(path, entries, &error));
    EXPECT_EQ(error, "Could not open archive: " + path.string());
    EXPECT_EQ(textOf(entries), (NamesAndData{{"a", "one"}}));
    EXPECT_FALSE(PackageArchive::read(path, entries, nullptr));
}

TEST_F(ArchiveReader, ADirectoryCannotBeOpened) {
    std::vector<ArchiveEntry> entries;
    std::string error;
    EXPECT_FALSE(PackageArchive::read(room.path(), entries, &error));
    EXPECT_EQ(error, "Could not open archive: " + room.path().string());
}

TEST_F(ArchiveReader, AFileThatDoesNotBeginWithALocalHeaderHasNoMembers) {
    EXPECT_EQ(readOf(""), NamesAndData{});
    EXPECT_EQ(readOf("PK\x03"), NamesAndData{});
    EXPECT_EQ(readOf("P"), NamesAndData{});
    EXPECT_EQ(readOf("#!junk\n" + member("a", "one")), NamesAndData{});
    EXPECT_EQ(readOf("PK\x07\x08" + member("a", "one")), NamesAndData{});
}

TEST_F(ArchiveReader, TheScanStopsWhereSomethingElseBegins) {
    EXPECT_EQ(readOf(member("a", "one") + "junk" + member("b", "two")),
              (NamesAndData{{"a", "one"}}));
    EXPECT_EQ(readOf(member("a", "one") + "PK\x01\x02" + std::string(60, '\0')),
              (NamesAndData{{"a", "one"}}));
}

TEST_F(ArchiveReader, ALocalHeaderInsideDataIsData) {
    const std::string inner = member("b", "two");
    EXPECT_EQ(readOf(member("a", inner)), (NamesAndData{{"a", inner}}));
}

TEST_F(ArchiveReader, NamesAreReadAsStored) {
    EXPECT_EQ(readOf(member("a\\b\0c/\xFF"s, "one")), (NamesAndData{{"a\\b\0c/\xFF"s, "one"}}));
}

TEST_F(ArchiveReader, AnExtraFieldIsSkipped) {
    LocalHeader header;
    header.nameLength = 1;
    header.extraLength = 5;
    header.uncompressedSize = 3;
    EXPECT_EQ(readOf(header.bytes() + "a" + "extra" + "one" + member("b", "two")),
              (NamesAndData{{"a", "one"}, {"b", "two"}}));
}

TEST_F(ArchiveReader, CompressedSizeMethodFlagsAndCrcAreNotLookedAt) {
    LocalHeader header;
    header.flags = 9;
    header.method = 8;
    header.crc = 0xDEADBEEF;
    header.compressedSize = 1;
    header.uncompressedSize = 3;
    header.nameLength = 1;
    EXPECT_EQ(readOf(header.bytes() + "a" + "one" + member("b", "two")),
              (NamesAndData{{"a", "one"}, {"b", "two"}}));
}

TEST_F(ArchiveReader, ATruncatedFileGivesWhatIsThere) {
    const std::string whole = member("b.txt", "beta-beta");
    struct Row {
        std::string_view what;
        std::size_t kept;
        NamesAndData last;
    };
    const std::vector<Row> rows{
        {"nothing of the header", 0, {}},
        {"a part of the signature", 3, {}},
        {"the signature alone", 4, {{"", ""}}},
        {"the header up to the size", 26, {{"", ""}}},
        {"a byte of the name's length", 27, {{"", ""}}},
        {"the header without the extra length", 28, {{"", ""}}},
        {"the header alone", 30, {{"", ""}}},
        {"a part of the name", 33, {{"b.t", ""}}},
        {"the name", 35, {{"b.txt", ""}}},
        {"a part of the data", 39, {{"b.txt", "beta"}}},
        {"everything", 44, {{"b.txt", "beta-beta"}}},
    };
    for (const Row& row : rows) {
        NamesAndData expected{{"a", "one"}};
        expected.insert(expected.end(), row.last.begin(), row.last.end());
        EXPECT_EQ(readOf(member("a", "one") + whole.substr(0, row.kept)), expected) << row.what;
    }
}

TEST_F(ArchiveReader, AnExtraFieldBeyondTheEndLeavesNoData) {
    LocalHeader header;
    header.nameLength = 1;
    header.extraLength = 50;
    header.uncompressedSize = 3;
    EXPECT_EQ(readOf(header.bytes() + "a" + "one"), (NamesAndData{{"a", ""}}));
}

TEST_F(ArchiveReader, AClaimOfFourGibibytesIsAsShortAsTheFile) {
    LocalHeader header;
    header.nameLength = 1;
    header.uncompressedSize = 0xFFFFFFFF;
    EXPECT_EQ(readOf(header.bytes() + "a" + "few bytes"), (NamesAndData{{"a", "few bytes"}}));
}

} // namespace
} // namespace mos
