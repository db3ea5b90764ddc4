#include "toolchain/compiler_search.h"

#include <array>
#include <system_error>

#include "platform/file_system.h"

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

std::filesystem::path canonicalPath(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path canonical = std::filesystem::canonical(path, error);
    if (error) {
        throw std::filesystem::filesystem_error("canonical", path, error);
    }
    return canonical;
}

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
