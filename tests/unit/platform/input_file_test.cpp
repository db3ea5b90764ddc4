#include "platform/input_file.h"

#include <gtest/gtest.h>

#include <string>

#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;
using test::writeFile;

std::string readText(InputFile& file, std::size_t size) {
    std::string text(size, '?');
    text.resize(file.read(std::as_writable_bytes(std::span(text))));
    return text;
}

TEST(InputFileTest, IsReadFromItsStartToItsEnd) {
    const TemporaryDirectory room;
    writeFile(room / "file", "one two three");
    InputFile file(room / "file");
    ASSERT_TRUE(file.isOpen());
    EXPECT_EQ(file.size(), 13U);
    EXPECT_EQ(readText(file, 4), "one ");
    EXPECT_EQ(readText(file, 100), "two three");
    EXPECT_EQ(readText(file, 100), "");
    EXPECT_FALSE(file.hasFailed());
}

TEST(InputFileTest, IsReadOnFromWhereItIsMovedTo) {
    const TemporaryDirectory room;
    writeFile(room / "file", "one two three");
    InputFile file(room / "file");
    ASSERT_TRUE(file.seek(8));
    EXPECT_EQ(readText(file, 100), "three");
    ASSERT_TRUE(file.seek(0));
    EXPECT_EQ(readText(file, 3), "one");
    ASSERT_TRUE(file.seek(1000));
    EXPECT_EQ(readText(file, 3), "");
    EXPECT_FALSE(file.hasFailed());
}

TEST(InputFileTest, WhatIsNoFileIsNotOpen) {
    const TemporaryDirectory room;
    for (const auto& path : {room / "missing", room.path()}) {
        InputFile file(path);
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(file.size(), 0U);
        EXPECT_EQ(readText(file, 3), "");
        EXPECT_FALSE(file.seek(0));
    }
}

} // namespace
} // namespace mos
