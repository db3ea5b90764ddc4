#include "platform/output_file.h"

#include <gtest/gtest.h>

#include <string_view>

#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::TemporaryDirectory;
using test::writeFile;

bool writeText(OutputFile& file, std::string_view text) {
    return file.write(std::as_bytes(std::span(text)));
}

TEST(OutputFileTest, TakesBytesOneAfterTheOther) {
    const TemporaryDirectory room;
    OutputFile file(room / "file");
    ASSERT_TRUE(file.isOpen());
    EXPECT_TRUE(writeText(file, "one "));
    EXPECT_TRUE(writeText(file, ""));
    EXPECT_TRUE(writeText(file, "two"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf(room / "file"), "one two");
}

TEST(OutputFileTest, EmptiesWhatIsThere) {
    const TemporaryDirectory room;
    writeFile(room / "file", "a long text that was there before");
    OutputFile file(room / "file");
    EXPECT_TRUE(writeText(file, "new"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf(room / "file"), "new");
}

TEST(OutputFileTest, ANewFileReplacesNothing) {
    const TemporaryDirectory room;
    writeFile(room / "file", "kept");
    EXPECT_FALSE(OutputFile(room / "file", OutputMode::CreateNew).isOpen());
    EXPECT_EQ(contentOf(room / "file"), "kept");
    OutputFile file(room / "other", OutputMode::CreateNew);
    EXPECT_TRUE(writeText(file, "new"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf(room / "other"), "new");
}

TEST(OutputFileTest, WhatIsNotOpenTakesNothing) {
    const TemporaryDirectory room;
    OutputFile none;
    OutputFile directory(room.path());
    OutputFile nowhere(room / "missing" / "file");
    for (OutputFile* file : {&none, &directory, &nowhere}) {
        EXPECT_FALSE(file->isOpen());
        EXPECT_FALSE(writeText(*file, "text"));
        EXPECT_FALSE(file->close());
    }
}

TEST(OutputFileTest, AClosedFileTakesNothingMore) {
    const TemporaryDirectory room;
    OutputFile file(room / "file");
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(writeText(file, "text"));
    EXPECT_FALSE(file.close());
}

} // namespace
} // namespace mos
