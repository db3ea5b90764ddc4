#include <gtest/gtest.h>
#include <windows.h>

#include <span>
#include <string>
#include <vector>

#include "platform/output_file.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::namesIn;
using test::TemporaryDirectory;
using test::writeFile;

TEST(OutputFileWindows, DevicesAndStreamsAreNotOpened) {
    const TemporaryDirectory room;
    for (const char* name : {"NUL", "nul.mos", "CON", "COM1", "file:stream", "dot.", "blank "}) {
        EXPECT_FALSE(OutputFile(room / name).isOpen()) << name;
    }
    EXPECT_EQ(namesIn(room.path()), std::vector<std::string>{});
}

TEST(OutputFileWindows, AHiddenFileIsWrittenAndStaysHidden) {
    const TemporaryDirectory room;
    writeFile(room / "file", "old and longer");
    SetFileAttributesW((room / "file").c_str(), FILE_ATTRIBUTE_HIDDEN);
    const DWORD before = GetFileAttributesW((room / "file").c_str());
    OutputFile file(room / "file");
    EXPECT_TRUE(file.write(std::as_bytes(std::span("new", 3))));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf(room / "file"), "new");
    EXPECT_EQ(GetFileAttributesW((room / "file").c_str()), before);
}

} // namespace
} // namespace mos
