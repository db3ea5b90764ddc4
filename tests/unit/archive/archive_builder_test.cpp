#include "archive/archive_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "archive/crc32.h"
#include "archive/package_archive.h"
#include "store/sha256.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

std::vector<std::byte> bytesOfSize(std::size_t size) {
    std::vector<std::byte> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::byte>(i * 7 + size);
    }
    return bytes;
}

struct Contents {
    std::vector<std::string> names;
    std::vector<std::vector<std::byte>> data;
};

Contents membersOfSizes(const std::vector<std::size_t>& sizes) {
    Contents contents;
    for (const std::size_t size : sizes) {
        contents.names.push_back("src/file" + std::to_string(contents.names.size()));
        contents.data.push_back(bytesOfSize(size));
    }
    return contents;
}

void addAll(ArchiveBuilder& builder, const Contents& contents) {
    for (std::size_t i = 0; i < contents.names.size(); ++i) {
        builder.add(contents.names[i], contents.data[i]);
    }
}

TEST(ArchiveBuilder, ReadsBackAndKnowsTheDigestOfSmallAndLargeMembersInEveryOrder) {
    const TemporaryDirectory room;
    const auto path = room.path() / "a.mos";
    const std::vector<std::vector<std::size_t>> shapes{
        {},
        {0},
        {1, 0, 2},
        {300'000},
        {5, 300'000, 5},
        {70'000, 70'000, 70'000, 70'000, 70'000, 3},
        std::vector<std::size_t>(2000, 999),
    };
    for (const auto& sizes : shapes) {
        const Contents contents = membersOfSizes(sizes);
        ArchiveBuilder builder;
        addAll(builder, contents);
        ASSERT_EQ(builder.size(), sizes.size());
        std::string error = "untouched";
        std::string digest;
        ASSERT_TRUE(builder.write(path, &error, &digest));
        EXPECT_EQ(error, "untouched");
        EXPECT_EQ(digest, sha256File(path));
        std::vector<ArchiveEntry> entries;
        ASSERT_TRUE(PackageArchive::read(path, entries, &error));
        ASSERT_EQ(entries.size(), sizes.size());
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            ASSERT_EQ(entries[i].name, contents.names[i]);
            ASSERT_EQ(entries[i].data, contents.data[i]);
        }
    }
}

TEST(ArchiveBuilder, WritesTheCrcOfEachMemberIntoBothOfItsHeaders) {
    const TemporaryDirectory room;
    const std::vector<std::byte> data = bytesOfSize(1000);
    ArchiveBuilder builder;
    builder.add("a", data);
    ASSERT_TRUE(builder.write(room.path() / "a.mos", nullptr, nullptr));
    const std::string bytes = test::contentOf(room.path() / "a.mos");
    std::string crc;
    for (int i = 0; i < 4; ++i) {
        crc += static_cast<char>(crc32(data) >> (8 * i) & 0xFFU);
    }
    EXPECT_EQ(bytes.substr(14, 4), crc);
    EXPECT_EQ(bytes.substr(30 + 1 + 1000 + 16, 4), crc);
}

/// A member that is read from a file of the given content.
MemberContent contentOf(const std::filesystem::path& path, const std::string& text) {
    test::writeFile(path, text);
    return {text.size(), crc32(std::as_bytes(std::span(text))), path};
}

TEST(ArchiveBuilder, FilesGiveTheSameArchiveAsTheirData) {
    const TemporaryDirectory room;
    const std::vector<std::string> texts{std::string(700'000, 'x') + "y", "", "short"};
    ArchiveBuilder ofData;
    ArchiveBuilder ofFiles;
    for (const std::string& text : texts) {
        const std::string name = "file" + std::to_string(ofData.size());
        ofData.add(name, std::as_bytes(std::span(text)));
        ofFiles.add(name, contentOf(room / name, text));
    }
    std::string digest;
    ASSERT_TRUE(ofData.write(room / "data.mos", nullptr, nullptr));
    ASSERT_TRUE(ofFiles.write(room / "files.mos", nullptr, &digest));
    EXPECT_EQ(test::contentOf(room / "files.mos"), test::contentOf(room / "data.mos"));
    EXPECT_EQ(digest, sha256File(room / "data.mos"));
}

TEST(ArchiveBuilder, AFileThatIsNotWhatItWasIsReported) {
    const TemporaryDirectory room;
    const std::string text(300'000, 'a');
    for (const std::string& other : {text + "a", text.substr(1), text.substr(1) + "b",
                                     std::string(900'000, 'a'), std::string()}) {
        ArchiveBuilder builder;
        builder.add("file", contentOf(room / "file", text));
        test::writeFile(room / "file", other);
        std::string error;
        std::string digest = "untouched";
        EXPECT_FALSE(builder.write(room / "a.mos", &error, &digest));
        EXPECT_EQ(error, "File changed while it was packed: " + (room / "file").string());
        EXPECT_EQ(digest, "untouched");
    }
}

TEST(ArchiveBuilder, AFileThatCannotBeReadAgainIsReported) {
    const TemporaryDirectory room;
    ArchiveBuilder builder;
    builder.add("file", contentOf(room / "file", "text"));
    std::filesystem::remove(room / "file");
    std::string error;
    EXPECT_FALSE(builder.write(room / "a.mos", &error, nullptr));
    EXPECT_EQ(error, "Could not read file: " + (room / "file").string());
}

TEST(ArchiveBuilder, SaysThatItCannotCreateTheFile) {
    const TemporaryDirectory room;
    const auto path = room.path() / "missing" / "a.mos";
    const Contents contents = membersOfSizes({300'000, 300'000});
    ArchiveBuilder builder;
    addAll(builder, contents);
    std::string error;
    std::string digest = "untouched";
    EXPECT_FALSE(builder.write(path, &error, &digest));
    EXPECT_EQ(error, "Failed to create archive file: " + path.string());
    EXPECT_EQ(digest, "untouched");
}

} // namespace
} // namespace mos
