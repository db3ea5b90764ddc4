#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

/// File-system operations whose failures are raised as std::filesystem::filesystem_error with the
/// operation's name as first text, the same on every platform.
namespace mos {

/// Raises `error`, if it is one, as that of `operation` on `path`.
void raiseOn(const std::error_code& error, const char* operation,
             const std::filesystem::path& path);

/// Whether anything is at `path`, links followed. An error other than "not found" is raised as
/// "exists".
[[nodiscard]] bool pathExists(const std::filesystem::path& path);

/// Whether `path` is a directory, links followed. Errors are raised as pathExists raises them.
[[nodiscard]] bool directoryExists(const std::filesystem::path& path);

/// What something is, links not followed.
enum class EntryKind {
    None, ///< nothing is there
    File,
    Directory,
    Link,  ///< a symbolic link or a junction, whatever it leads to
    Other, ///< a pipe, a socket, a device
};

/// What is at `path` itself. An error other than "not found" is raised as "symlink_status".
[[nodiscard]] EntryKind entryKind(const std::filesystem::path& path);

/// Something below a directory.
struct TreeEntry {
    std::filesystem::path path; ///< relative to the directory
    EntryKind kind = EntryKind::Other;
};

/// Everything below the directory, in no order, links not followed; nothing when a part of it
/// cannot be read.
[[nodiscard]] std::optional<std::vector<TreeEntry>>
treeBelow(const std::filesystem::path& directory);

/// Creates `path` and its missing parents; an existing directory is fine. Raised as
/// "create_directories".
void createDirectories(const std::filesystem::path& path);

/// Removes `path` and everything below it; a missing path is fine. Raised as "remove_all".
void removeAll(const std::filesystem::path& path);

/// The same, returning why it could not be done.
[[nodiscard]] std::error_code tryRemoveAll(const std::filesystem::path& path);

/// The same, taking the rights that the owner of a directory has left himself without.
void removeAllOwned(const std::filesystem::path& path);

/// Removes one file; a missing one is fine. False with the reason in `error` when it stays.
[[nodiscard]] bool removeFile(const std::filesystem::path& path, std::error_code& error);

/// A file that a walk came to.
struct FoundFile {
    std::filesystem::path path; ///< begins with the directory as it was given
    bool isLink = false;        ///< it is a link to a file
};

/// The directories directly below `parent`, links to directories included, in the order of the file
/// system. None when `parent` is gone: another process may be removing it. Raised as
/// "directory_iterator::directory_iterator", as "directory_entry::status" and as
/// "directory_iterator::operator++".
[[nodiscard]] std::vector<std::filesystem::path> directoriesIn(const std::filesystem::path& parent);

/// Whatever is directly in the directory, in no order; each path begins with `directory`. Raised as
/// "directory_iterator::directory_iterator" and as "directory_iterator::operator++".
[[nodiscard]] std::vector<std::filesystem::path> entriesIn(const std::filesystem::path& directory);

/// Every regular file below the directory, in no order. Links to directories are not followed,
/// links to files count as files. Raised as "recursive_directory_iterator::
/// recursive_directory_iterator" when `directory` cannot be read, as
/// "recursive_directory_iterator::operator++" for a directory below it, and as
/// "directory_entry::status" when it cannot be told what an entry is.
[[nodiscard]] std::vector<FoundFile> regularFilesBelow(const std::filesystem::path& directory);

/// The current directory. Raised as "current_path".
[[nodiscard]] std::filesystem::path currentDirectory();

/// The whole content of a file; nothing when it cannot be opened. A directory cannot be opened.
[[nodiscard]] std::optional<std::string> readFile(const std::filesystem::path& path);

} // namespace mos
