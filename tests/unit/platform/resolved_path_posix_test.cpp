#include "platform/resolved_path.h"

#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "temporary_directory.h"

namespace mos {
namespace {

using test::TemporaryDirectory;

namespace fs = std::filesystem;

class ResolvedPath : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(base / "directory"); }

    TemporaryDirectory room;
    fs::path base = fs::canonical(room.path());
};

TEST_F(ResolvedPath, WhatExistsIsResolvedThroughItsLinks) {
    fs::create_directory_symlink("directory", base / "link");
    test::writeFile(base / "directory" / "file", "");
    EXPECT_EQ(resolvedPath(base / "link" / "." / "file"), base / "directory" / "file");
    EXPECT_EQ(resolvedPath(base / "link" / ".."), base);
}

TEST_F(ResolvedPath, WhatIsMissingIsNormalisedAsText) {
    EXPECT_EQ(resolvedPath(base / "directory/a/../b/./c"), base / "directory/b/c");
    std::error_code error = std::make_error_code(std::errc::io_error);
    EXPECT_EQ(resolvedPath("/no such directory/./file", error), "/no such directory/file");
    EXPECT_FALSE(error) << error.message();
}

TEST_F(ResolvedPath, ARelativePathBecomesAbsolute) {
    const fs::path before = fs::current_path();
    fs::current_path(base);
    const auto existing = resolvedPath("directory");
    const auto missing = resolvedPath("missing/file");
    fs::current_path(before);
    EXPECT_EQ(existing, base / "directory");
    EXPECT_EQ(missing, base / "missing" / "file");
}

TEST_F(ResolvedPath, ALinkBehindAMissingPieceIsResolved) {
    fs::create_directory_symlink("directory", base / "link");
    EXPECT_EQ(resolvedPath(base / "missing/../link/file"), base / "directory/file");
}

TEST_F(ResolvedPath, ALinkToNothingIsResolvedToWhatItNames) {
    fs::create_symlink("directory/new", base / "link");
    fs::create_symlink("link", base / "second");
    EXPECT_EQ(resolvedPath(base / "link"), base / "directory/new");
    EXPECT_EQ(resolvedPath(base / "second"), base / "directory/new");
}

TEST_F(ResolvedPath, SoIsWhatLiesBelowALinkToNothing) {
    fs::create_symlink("directory/new", base / "link");
    EXPECT_EQ(resolvedPath(base / "link/file"), base / "directory/new/file");
    EXPECT_EQ(resolvedPath(base / "link/deep/file"), base / "directory/new/deep/file");
    EXPECT_EQ(resolvedPath(base / "link/../file"), base / "file");
}

TEST_F(ResolvedPath, ALinkThatLeadsToItselfCannotBeResolved) {
    fs::create_symlink("link", base / "link");
    EXPECT_EQ(resolvedPath(base / "link"), std::nullopt);
    EXPECT_EQ(resolvedPath(base / "link/file"), std::nullopt);
}

TEST_F(ResolvedPath, ANameThatIsTooLongCannotBeResolved) {
    EXPECT_EQ(resolvedPath(base / std::string(300, 'n')), std::nullopt);
}

TEST_F(ResolvedPath, WhatIsNotThereHasNoCanonicalPath) {
    std::string text = "no error";
    try {
        static_cast<void>(canonicalPath(base / "nothing"));
    } catch (const fs::filesystem_error& error) {
        text = error.what();
    }
    EXPECT_EQ(text, "filesystem error: canonical: No such file or directory [" +
                        (base / "nothing").string() + "]");
}

} // namespace
} // namespace mos
