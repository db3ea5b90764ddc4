#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "links_windows.h"
#include "platform/resolved_path.h"
#include "system_answers_windows.h"
#include "temporary_directory.h"

namespace mos {
namespace {

namespace fs = std::filesystem;
using test::TemporaryDirectory;

/// The room's path as the system names it.
fs::path roomPath(const TemporaryDirectory& room) {
    return canonicalPath(room.path());
}

TEST(ResolvedPathWindows, WhatIsMissingIsAppendedAsText) {
    const TemporaryDirectory room;
    EXPECT_EQ(resolvedPath(room / "a" / "b"), roomPath(room) / "a" / "b");
    EXPECT_EQ(resolvedPath(room / "a/../b/./c"), roomPath(room) / "b" / "c");
    EXPECT_EQ(resolvedPath(room.path() / ""), roomPath(room));
}

TEST(ResolvedPathWindows, NamesAreWrittenAsTheDiskHasThem) {
    const TemporaryDirectory room;
    fs::create_directory(room / "Gro\u00DF");
    EXPECT_EQ(resolvedPath(room / "gRO\u00DF"), roomPath(room) / "Gro\u00DF");
}

TEST(ResolvedPathWindows, ADirectoryAboveThatMayNotBeOpenedIsNoHindrance) {
    const test::TemporaryDirectory room;
    test::writeFile(room / "file", "");
    const auto usual = resolvedPath(room / "file");
    const test::SystemAnswers answers(test::Volume::BelowClosedDirectories);
    EXPECT_EQ(resolvedPath(room / "file"), usual);
    EXPECT_EQ(resolvedPath(room / "missing" / "file"), usual->parent_path() / "missing" / "file");
}

TEST(ResolvedPathWindows, AFileMayStandInAPath) {
    const TemporaryDirectory room;
    test::writeFile(room / "file", "");
    EXPECT_EQ(resolvedPath(room / "file"), roomPath(room) / "file");
    EXPECT_EQ(resolvedPath(room / "file" / "below"), roomPath(room) / "file" / "below");
}

TEST(ResolvedPathWindows, ADriveThatIsMissingCannotBeResolved) {
    EXPECT_EQ(resolvedPath("Q:\\missing\\file"), std::nullopt);
}

TEST(ResolvedPathWindows, ADeviceCannotBeResolved) {
    const TemporaryDirectory room;
    EXPECT_EQ(resolvedPath(room / "NUL"), std::nullopt);
}

TEST(ResolvedPathWindows, ALinkedDirectoryIsSeenThrough) {
    const TemporaryDirectory room;
    fs::create_directories(room / "kept" / "deep");
    const test::DirectoryLink link(roomPath(room) / "kept", roomPath(room) / "link");
    if (!link.isMade()) {
        GTEST_SKIP() << "no link to a directory can be made here";
    }
    EXPECT_EQ(resolvedPath(room / "link"), roomPath(room) / "kept");
    EXPECT_EQ(resolvedPath(room / "link" / "deep"), roomPath(room) / "kept" / "deep");
    EXPECT_EQ(resolvedPath(room / "link" / "new" / "file"),
              roomPath(room) / "kept" / "new" / "file");
    // The system takes ".." as text before it looks at any link.
    EXPECT_EQ(resolvedPath(room / "link" / ".." / "x"), roomPath(room) / "x");
}

TEST(ResolvedPathWindows, AJunctionToNothingLeadsToWhatIsMissing) {
    const TemporaryDirectory room;
    if (!test::makeJunction(roomPath(room) / "missing", room / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    EXPECT_EQ(resolvedPath(room / "link" / "file"), roomPath(room) / "missing" / "file");
}

TEST(ResolvedPathWindows, ASymbolicLinkToNothingLeadsToWhatIsMissing) {
    const TemporaryDirectory room;
    if (!test::makeSymbolicLink("missing", room / "link")) {
        GTEST_SKIP() << "no symbolic links here: Wine does not make them, Windows wants a right";
    }
    EXPECT_EQ(resolvedPath(room / "link"), roomPath(room) / "missing");
}

TEST(ResolvedPathWindows, ALinkToItselfCannotBeResolved) {
    const TemporaryDirectory room;
    if (!test::makeJunction(roomPath(room) / "link", room / "link")) {
        GTEST_SKIP() << "no junctions here: Wine does not make them";
    }
    EXPECT_EQ(resolvedPath(room / "link" / "file"), std::nullopt);
}

TEST(CanonicalPathWindows, WhatIsMissingIsAnError) {
    const TemporaryDirectory room;
    const std::string path = (room / "missing").string();
    try {
        static_cast<void>(canonicalPath(path));
        FAIL() << "no error";
    } catch (const fs::filesystem_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "filesystem error: canonical: No such file or directory [" + path + "]");
    }
}

} // namespace
} // namespace mos
