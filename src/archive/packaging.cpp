#include "archive/packaging.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

#include "archive/file_contents.h"
#include "archive/package_archive.h"
#include "platform/file_system.h"
#include "platform/resolved_path.h"

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

/// Whether the entry is a regular file, links followed.
bool isRegularFile(const std::filesystem::directory_entry& entry) {
    std::error_code error;
    const auto status = entry.status(error);
    if (status.type() == std::filesystem::file_type::none) {
        throw std::filesystem::filesystem_error("directory_entry::status", entry.path(), error);
    }
    return std::filesystem::is_regular_file(status);
}

/// The resolved path of a file that a walk below `directory` came to.
std::filesystem::path resolvedEntry(const std::filesystem::directory_entry& entry,
                                    const std::filesystem::path& directory,
                                    const std::filesystem::path& resolvedDirectory) {
    std::error_code error;
    if (entry.is_symlink(error) || error) {
        return resolvedOrRaise(entry.path());
    }
    // A walk enters no links: between the directory and the file there is none to resolve.
    std::filesystem::path resolved = resolvedDirectory;
    resolved += entry.path().native().substr(directory.native().size());
    return resolved;
}

/// The resolved paths of every regular file below `directory`. Links to directories are not
/// followed, links to files are.
std::vector<std::filesystem::path> regularFilesBelow(const std::filesystem::path& directory) {
    const std::filesystem::path resolvedDirectory = resolvedOrRaise(directory);
    std::error_code error;
    std::filesystem::recursive_directory_iterator walk(directory, error);
    if (error) {
        throw std::filesystem::filesystem_error(
            "recursive_directory_iterator::recursive_directory_iterator", directory, error);
    }
    std::vector<std::filesystem::path> files;
    while (walk != std::filesystem::recursive_directory_iterator()) {
        const std::filesystem::path path = walk->path();
        if (isRegularFile(*walk)) {
            files.push_back(resolvedEntry(*walk, directory, resolvedDirectory));
        }
        walk.increment(error);
        if (error) {
            throw std::filesystem::filesystem_error("recursive_directory_iterator::operator++",
                                                    path, error);
        }
    }
    return files;
}

/// A file of the project that becomes a member.
struct SelectedFile {
    std::filesystem::path relativePath; ///< from the root
    std::string name;                   ///< in the archive
};

SelectedFile selectedFile(std::filesystem::path relativePath) {
    std::string name = memberName(relativePath);
    return {std::move(relativePath), std::move(name)};
}

/// The files of `root`/src in byte order of their member names, so that the same project gives the
/// same archive on every system.
///
/// A link counts under the name of the file it leads to, which may lie outside the root; such a
/// member cannot be extracted again.
std::vector<SelectedFile> sourceFiles(const std::filesystem::path& root) {
    const std::filesystem::path sources = root / "src";
    if (!pathExists(sources) || !directoryExists(sources)) {
        return {};
    }
    const std::filesystem::path resolvedRoot = resolvedOrRaise(root);
    std::vector<SelectedFile> files;
    for (const std::filesystem::path& file : regularFilesBelow(sources)) {
        files.push_back(selectedFile(file.lexically_relative(resolvedRoot)));
    }
    std::ranges::sort(files, {}, &SelectedFile::name);
    return files;
}

/// The selected files that are there and no directories, with their contents. False with the
/// first file that cannot be read in `error` (when given).
bool readFiles(const std::filesystem::path& root, const std::vector<SelectedFile>& selection,
               FileContents& contents, std::vector<PackageArchive::MemberView>& members,
               std::string* error) {
    for (const SelectedFile& file : selection) {
        const std::filesystem::path path = root / file.relativePath;
        if (const auto content = contents.read(path)) {
            members.push_back({file.name, *content});
        } else if (pathExists(path) && !directoryExists(path)) {
            return fail(error, "Could not read file: " + path.string());
        }
    }
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
    std::vector<SelectedFile> selection;
    for (const char* name : {"moss.toml", "README.md", "LICENSE"}) {
        selection.push_back(selectedFile(name));
    }
    std::ranges::move(sourceFiles(projectRoot), std::back_inserter(selection));
    FileContents contents;
    std::vector<PackageArchive::MemberView> members;
    if (!readFiles(projectRoot, selection, contents, members, error)) {
        return false;
    }
    // The count is that of all files: a manifest and a README without any source are a package.
    if (members.size() <= 1) {
        return fail(error, "Project contains no source files under src/.");
    }
    createDirectories(archivePath.parent_path());
    std::string digest;
    if (!PackageArchive::writeMembers(archivePath, members, error, &digest)) {
        return false;
    }
    if (checksum != nullptr) {
        *checksum = "sha256:" + digest;
    }
    if (files != nullptr) {
        files->clear();
        for (const PackageArchive::MemberView& member : members) {
            files->emplace_back(member.name);
        }
    }
    return true;
}

} // namespace mos
