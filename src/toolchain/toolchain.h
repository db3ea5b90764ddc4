#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "manifest/manifest.h"

namespace mos {

/// Drives the Moss compiler on one project.
///
/// The operations return false for a failed build and put the reason into `error` (which may be
/// null). A moss.toml that exists and cannot be read is thrown as MosException (ManifestParse),
/// errors of the file system as file_system.h raises them.
class Toolchain {
public:
    /// Reads nothing yet.
    explicit Toolchain(std::filesystem::path directory);

    /// Reads the project's moss.toml, once. False when there is none; parent directories are not
    /// tried.
    [[nodiscard]] bool loadManifest(std::string* error);

    /// Checks the entry file of the package; of every member in turn when `workspace` is set or the
    /// project is a workspace. Ends with the first that fails.
    ///
    /// Deliberate: `release` changes nothing, and a package with `workspace` set builds nothing.
    [[nodiscard]] bool build(bool release, bool workspace, std::string* error);

    /// Checks the entry file. When the compiler reports an error the reason is the empty text.
    [[nodiscard]] bool check(std::string* error);

    /// Runs the entry file with `args`.
    [[nodiscard]] bool run(const std::vector<std::string>& args, std::string* error);

    /// Removes the project's packages directory; needs no moss.toml. Always true.
    bool clean(std::string* error);

    /// The compiler to run; see compiler_search.h.
    [[nodiscard]] static std::filesystem::path findCompiler();

    /// Runs the compiler and waits for it; the streams of this program are its own too. Returns
    /// its status as child_process.h gives it.
    [[nodiscard]] static int runCompiler(std::string_view subcommand,
                                         const std::filesystem::path& file,
                                         const std::vector<std::string>& extraArgs);

private:
    [[nodiscard]] bool buildMembers(std::string* error);
    [[nodiscard]] bool buildPackage(std::string* error);
    [[nodiscard]] bool findEntry(std::filesystem::path& entry, std::string* error) const;

    std::filesystem::path projectDir;
    Manifest manifest;
    bool manifestLoaded = false;
};

} // namespace mos
