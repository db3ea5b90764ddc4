#include "archive/packaging.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <system_error>
#include <tuple>
#include <utility>

#include "archive/archive_builder.h"
#include "archive/extraction.h"
#include "archive/file_contents.h"
#include "platform/failure.h"
#include "platform/file_replacement.h"
#include "platform/file_system.h"
#include "platform/plain_file_name.h"
#include "platform/resolved_path.h"

namespace mos {
namespace {

std::string memberName(const std::filesystem::path& relativePath) {
    std::string name = relativePath.generic_string();
    std::ranges::replace(name, '\\', '/');
    return name;
}

std::filesystem::path resolvedOrRaise(const std::filesystem::path& path) {
    std::error_code error;
    auto resolved = resolvedPath(path, error);
    if (!resolved) {
        throw std::filesystem::filesystem_error("weakly_canonical", path, error);
    }
    return std::move(*resolved);
}

/// The resolved path of a file that was found below `directory`.
std::filesystem::path resolvedFile(const FoundFile& file, const std::filesystem::path& directory,
                                   const std::filesystem::path& resolvedDirectory) {
    if (file.isLink) {
        return resolvedOrRaise(file.path);
    }
    // No links were entered: between the directory and the file there is none to resolve.
    std::filesystem::path resolved = resolvedDirectory;
    resolved += file.path.native().substr(directory.native().size());
    return resolved;
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
/// same archive on every system. What a killed run of this program left there is removed and none
/// of them.
///
/// A link counts under the name of the file it leads to, which may lie outside the root; such a
/// member cannot be extracted again.
std::vector<SelectedFile> sourceFiles(const std::filesystem::path& root) {
    const std::filesystem::path sources = root / "src";
    if (!pathExists(sources) || !directoryExists(sources)) {
        return {};
    }
    const std::filesystem::path resolvedRoot = resolvedOrRaise(root);
    const std::filesystem::path resolvedSources = resolvedOrRaise(sources);
    std::vector<SelectedFile> files;
    for (const FoundFile& found : regularFilesBelow(sources)) {
        if (removeAbandonedReplacement(found.path)) {
            continue;
        }
        const std::filesystem::path file = resolvedFile(found, sources, resolvedSources);
        files.push_back(selectedFile(file.lexically_relative(resolvedRoot)));
    }
    // Two files can have one member name: "a\\b" is a file of its own on some systems.
    std::ranges::sort(files, {}, [](const SelectedFile& file) {
        return std::tie(file.name, file.relativePath.native());
    });
    return files;
}

/// Adds the selected files that are there and no directories to `archive`, their names to `names`.
/// False with the first file that cannot be read in `error` (when given).
bool readFiles(const std::filesystem::path& root, const std::vector<SelectedFile>& selection,
               FileContents& contents, ArchiveBuilder& archive, std::vector<std::string>& names,
               std::string* error) {
    for (const SelectedFile& file : selection) {
        const std::filesystem::path path = root / file.relativePath;
        if (!isPlainFileName(file.name)) {
            // What the system would open may be another file, or none at all.
            return fail(error, "Could not read file: " + path.string());
        }
        if (auto content = contents.read(path)) {
            archive.add(file.name, std::move(*content));
            names.push_back(file.name);
        } else if (pathExists(path) && !directoryExists(path)) {
            return fail(error, "Could not read file: " + path.string());
        }
    }
    return true;
}

bool leadsOutOf(const std::filesystem::path& root, const std::string& archiveName) {
    if (!isSafeEntryName(archiveName)) {
        return true;
    }
    const std::filesystem::path directory = (root / archiveName).parent_path();
    if (directory == root) {
        return false;
    }
    // A directory on the way may be a link.
    const auto way = resolvedOrRaise(directory).lexically_relative(resolvedOrRaise(root));
    return way.empty() || *way.begin() == "..";
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
    FileContents contents(archivePath);
    ArchiveBuilder archive;
    std::vector<std::string> names;
    if (!readFiles(projectRoot, selection, contents, archive, names, error)) {
        return false;
    }
    // The count is that of all files: a manifest and a README without any source are a package.
    if (archive.size() <= 1) {
        return fail(error, "Project contains no source files under src/.");
    }
    createDirectories(archivePath.parent_path());
    std::string digest;
    if (!archive.write(archivePath, error, &digest)) {
        return false;
    }
    if (checksum != nullptr) {
        *checksum = "sha256:" + digest;
    }
    if (files != nullptr) {
        *files = std::move(names);
    }
    return true;
}

bool packProject(const std::filesystem::path& projectRoot, const std::string& archiveName,
                 std::string* checksum, std::vector<std::string>* files, std::string* error) {
    if (leadsOutOf(projectRoot, archiveName)) {
        return fail(error, "Archive path escapes project directory: " + archiveName);
    }
    return createPackage(projectRoot, projectRoot / archiveName, checksum, files, error);
}

} // namespace mos
