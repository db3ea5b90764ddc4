#include <gtest/gtest.h>

#include <string>

#include "temporary_directory.h"
#include "toolchain/compiler_search.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

TEST(CompilerSearchPosix, ALinkBesideTheProgramIsFollowed) {
    const test::TemporaryDirectory room;
    const fs::path root = fs::canonical(room.path());
    test::writeFile(root / "compiler", "");
    fs::create_symlink("compiler", root / "moss.exe");
    EXPECT_EQ(findCompiler(root / "mos"), root / "compiler");
}

TEST(CompilerSearchPosix, AnExistenceThatCannotBeToldIsAnErrorOfExists) {
    const test::TemporaryDirectory room;
    fs::create_symlink("moss.exe", room / "moss.exe");
    try {
        static_cast<void>(findCompiler(room / "mos"));
        FAIL() << "no error";
    } catch (const fs::filesystem_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "filesystem error: exists: Too many levels of symbolic links [" +
                      (room / "moss.exe").string() + "]");
    }
}

} // namespace
} // namespace mos
