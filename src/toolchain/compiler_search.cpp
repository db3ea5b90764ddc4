#include "toolchain/compiler_search.h"

#include <array>

#include "platform/file_system.h"
#include "platform/resolved_path.h"

namespace mos {
namespace {

constexpr const char* compilerWord = "moss";

/// Where the compiler may be, seen from the directory of the running program.
constexpr std::array<const char*, 3> placesNearProgram{
    "moss.exe",
    "../../Release/moss.exe",
    "../Release/moss.exe",
};

/// Where the compiler may be, seen from the current directory.
constexpr std::array<const char*, 5> placesNearProject{
    "build/Release/moss.exe",
    "../build/Release/moss.exe",
    "../../build/Release/moss.exe",
    "build/Debug/moss.exe",
    "moss.exe",
};

} // namespace

std::filesystem::path findCompiler(const std::optional<std::filesystem::path>& executable) {
    if (executable) {
        const std::filesystem::path directory = executable->parent_path();
        for (const char* place : placesNearProgram) {
            const std::filesystem::path candidate = directory / place;
            if (pathExists(candidate)) {
                return canonicalPath(candidate);
            }
        }
    }
    for (const char* place : placesNearProject) {
        if (pathExists(place)) {
            return place;
        }
    }
    return compilerWord;
}

} // namespace mos
