#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <thread>

#include "archive/file_contents.h"
#include "temporary_directory.h"

namespace mos {
namespace {

std::string heldText(const MemberContent& content) {
    const auto bytes = std::get<std::span<const std::byte>>(content.source);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

TEST(FileContentsPosix, WhatDoesNotTellItsSizeIsReadToItsEnd) {
    const test::TemporaryDirectory room;
    test::writeFile(room / "first", "short");
    ASSERT_EQ(::mkfifo((room / "pipe").c_str(), 0600), 0);
    std::string large(300'000, 'a');
    for (std::size_t i = 0; i < large.size(); i += 7) {
        large[i] = static_cast<char>('b' + i % 20);
    }
    std::thread writer([&] { test::writeFile(room / "pipe", large); });
    FileContents contents(room / "archive");
    const auto first = contents.read(room / "first");
    const auto second = contents.read(room / "pipe");
    writer.join();
    EXPECT_EQ(heldText(first.value()), "short");
    EXPECT_EQ(heldText(second.value()), large);
}

TEST(FileContentsPosix, ADirectoryAndWhatIsNotThereHaveNoContents) {
    const test::TemporaryDirectory room;
    FileContents contents(room / "archive");
    EXPECT_FALSE(contents.read(room.path()).has_value());
    EXPECT_FALSE(contents.read(room / "nothing").has_value());
}

/// Its pages before the first are in no process, and reading them fails.
TEST(FileContentsPosix, AFileThatCannotBeReadHasNoContents) {
    const test::TemporaryDirectory room;
    FileContents contents(room / "archive");
    EXPECT_FALSE(contents.read("/proc/self/mem").has_value());
}

} // namespace
} // namespace mos
