#include "toolchain/compiler_search.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "temporary_directory.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

/// A project in "home/work/project", which is the current directory, and a program in
/// "tools/one/bin".
class CompilerSearch : public testing::Test {
protected:
    CompilerSearch() {
        fs::create_directories(project);
        fs::create_directories(executable.parent_path());
        fs::current_path(project);
    }
    ~CompilerSearch() override { fs::current_path(before); }

    void place(const fs::path& compiler) const {
        fs::create_directories(compiler.parent_path());
        test::writeFile(compiler, "");
    }

    const fs::path before = fs::current_path();
    const test::TemporaryDirectory room;
    const fs::path root = fs::canonical(room.path());
    const fs::path project = root / "home" / "work" / "project";
    const fs::path executable = root / "tools" / "one" / "bin" / "mos";
};

TEST_F(CompilerSearch, WithoutACompilerAnywhereTheInterpreterLooksForIt) {
    EXPECT_EQ(findCompiler(executable), "moss");
    EXPECT_EQ(findCompiler(std::nullopt), "moss");
}

TEST_F(CompilerSearch, GoesThroughThePlacesInTheirOrder) {
    struct Place {
        fs::path file;
        fs::path found;
    };
    const fs::path tools = root / "tools";
    const std::vector<Place> lastToFirst{
        {project / "moss.exe", "moss.exe"},
        {project / "build" / "Debug" / "moss.exe", "build/Debug/moss.exe"},
        {root / "home" / "build" / "Release" / "moss.exe", "../../build/Release/moss.exe"},
        {root / "home" / "work" / "build" / "Release" / "moss.exe", "../build/Release/moss.exe"},
        {project / "build" / "Release" / "moss.exe", "build/Release/moss.exe"},
        {tools / "one" / "Release" / "moss.exe", tools / "one" / "Release" / "moss.exe"},
        {tools / "Release" / "moss.exe", tools / "Release" / "moss.exe"},
        {tools / "one" / "bin" / "moss.exe", tools / "one" / "bin" / "moss.exe"},
    };
    for (const Place& each : lastToFirst) {
        place(each.file);
        EXPECT_EQ(findCompiler(executable), each.found) << each.file;
    }
}

TEST_F(CompilerSearch, WithoutAProgramsPathOnlyTheProjectsPlacesCount) {
    place(executable.parent_path() / "moss.exe");
    EXPECT_EQ(findCompiler(std::nullopt), "moss");
    place(project / "moss.exe");
    EXPECT_EQ(findCompiler(std::nullopt), "moss.exe");
}

TEST_F(CompilerSearch, AFileCalledMossIsNotTheCompiler) {
    place(executable.parent_path() / "moss");
    place(project / "build" / "Release" / "moss");
    EXPECT_EQ(findCompiler(executable), "moss");
}

} // namespace
} // namespace mos
