#include "archive/packaging.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

#include "archive/archive_entry.h"
#include "archive/package_archive.h"
#include "platform/file_system.h"
#include "platform/resolved_path.h"
#include "store/sha256.h"

namespace mos {
namespace {

bool fail(std::string* error, std::string reason) {
    if (error != nullptr) {
        *error = std::move(reason);
    }
    return false;
}

std::string memberName(const std::filesystem::path& relativePath) {
    std::string name = relativePath.generic_string();
    std::ranges::replace(name, '\\', '/');
    return name;
}

std::filesystem::path resolvedOrRaise(const std::filesystem::path& path) {
    auto resolved = resolvedPath(path);
    if (!resolved) {
        throw std::filesystem::filesystem_error("weakly_canonical", path,
                                                std::make_error_code(std::errc::io_error));
    }
    return std::move(*resolved);
}

/// The files of `root`/src, relative to the root, in byte order of their member names, so that the
/// same project gives the same archive on every system.
///
/// A link counts under the name of the file it leads to, which may lie outside the root; such a
/// member cannot be extracted again.
std::vector<std::filesystem::path> sourceFiles(const std::filesystem::path& root) {
    const std::filesystem::path sources = root / "src";
    if (!pathExists(sources) || !directoryExists(sources)) {
        return {};
    }
    const std::filesystem::path resolvedRoot = resolvedOrRaise(root);
    std::vector<std::filesystem::path> files = regularFilesBelow(sources);
    for (std::filesystem::path& file : files) {
        file = resolvedOrRaise(file).lexically_relative(resolvedRoot);
    }
    std::ranges::sort(files, {}, memberName);
    return files;
}

/// Appends the file `relativePath` of the project; nothing happens when it is missing or a
/// directory. False when it cannot be read.
bool addFile(const std::filesystem::path& root, const std::filesystem::path& relativePath,
             std::vector<ArchiveEntry>& entries) {
    const std::filesystem::path path = root / relativePath;
    if (!pathExists(path) || directoryExists(path)) {
        return true;
    }
    const auto content = readFile(path);
    if (!content) {
        return false;
    }
    const auto bytes = std::as_bytes(std::span(*content));
    entries.push_back({memberName(relativePath), {bytes.begin(), bytes.end()}});
    return true;
}

} // namespace

std::string archiveFileName(std::string_view name, const Version& version) {
    return std::string(name) + "-" + version.to_string() + ".mos";
}

bool createPackage(const std::filesystem::path& projectRoot,
                   const std::filesystem::path& archivePath, std::string* checksum,
                   std::vector<std::string>* files, std::string* error) {
    if (!pathExists(projectRoot / "moss.toml")) {
        return fail(error, "Project missing moss.toml manifest.");
    }
    std::vector<std::filesystem::path> selection{"moss.toml", "README.md", "LICENSE"};
    std::ranges::move(sourceFiles(projectRoot), std::back_inserter(selection));
    std::vector<ArchiveEntry> entries;
    for (const std::filesystem::path& file : selection) {
        if (!addFile(projectRoot, file, entries)) {
            return fail(error, "Could not read file: " + (projectRoot / file).string());
        }
    }
    // The count is that of all files: a manifest and a README without any source are a package.
    if (entries.size() <= 1) {
        return fail(error, "Project contains no source files under src/.");
    }
    createDirectories(archivePath.parent_path());
    if (!PackageArchive::write(archivePath, entries, error)) {
        return false;
    }
    if (checksum != nullptr) {
        *checksum = "sha256:" + sha256File(archivePath);
    }
    if (files != nullptr) {
        files->clear();
        std::ranges::transform(entries, std::back_inserter(*files), &ArchiveEntry::name);
    }
    return true;
}

} // namespace mos
