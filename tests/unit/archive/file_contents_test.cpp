#include "archive/file_contents.h"

#include <gtest/gtest.h>

#include <string>

#include "archive/crc32.h"
#include "temporary_directory.h"

namespace mos {
namespace {

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;

std::string textOfSize(std::size_t size) {
    std::string text(size, 'a');
    for (std::size_t i = 0; i < size; i += 13) {
        text[i] = static_cast<char>('b' + i % 23);
    }
    return text;
}

class FileContentsTest : public testing::Test {
protected:
    /// A file of that many bytes, as the contents have it.
    MemberContent read(const std::string& name, std::size_t size) {
        const std::string text = textOfSize(size);
        test::writeFile(room / name, text);
        const MemberContent content = contents.read(room / name).value();
        EXPECT_EQ(content.size, size);
        EXPECT_EQ(content.crc, crc32(std::as_bytes(std::span(text))));
        return content;
    }

    static bool isHeld(const MemberContent& content) {
        return std::holds_alternative<std::span<const std::byte>>(content.source);
    }

    test::TemporaryDirectory room;
    FileContents contents{room / "archive"};
};

TEST_F(FileContentsTest, SmallFilesAreHeldAndStayWhereTheyAre) {
    const MemberContent first = read("first", 5);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, mebibyte / 16, mebibyte}) {
        EXPECT_TRUE(isHeld(read("next", size))) << size;
    }
    const auto bytes = std::get<std::span<const std::byte>>(first.source);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
              textOfSize(5));
}

TEST_F(FileContentsTest, ALargeFileIsReadAgain) {
    const MemberContent content = read("large", mebibyte + 1);
    EXPECT_EQ(std::get<std::filesystem::path>(content.source), room / "large");
}

TEST_F(FileContentsTest, AllThatIsHeldHasALimit) {
    for (int i = 0; i < 32; ++i) {
        ASSERT_TRUE(isHeld(read("file", mebibyte))) << i;
    }
    EXPECT_FALSE(isHeld(read("file", 1)));
}

TEST_F(FileContentsTest, WhatTheArchiveReplacesIsHeld) {
    EXPECT_TRUE(isHeld(read("archive", 3 * mebibyte)));
    std::filesystem::create_hard_link(room / "archive", room / "another name");
    EXPECT_TRUE(isHeld(contents.read(room / "another name").value()));
}

} // namespace
} // namespace mos
