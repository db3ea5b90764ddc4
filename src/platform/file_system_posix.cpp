#include "platform/file_system.h"

#include <system_error>
#include <utility>

#include "platform/owner_rights_posix.h"

namespace mos {
namespace {

// Another process may remove or create what is being worked on, which then fails halfway: begin
// again with what is there now.
constexpr int mostAttempts = 1000;

EntryKind kindOf(std::filesystem::file_type type) {
    switch (type) {
    case std::filesystem::file_type::not_found:
        return EntryKind::None;
    case std::filesystem::file_type::regular:
        return EntryKind::File;
    case std::filesystem::file_type::directory:
        return EntryKind::Directory;
    case std::filesystem::file_type::symlink:
        return EntryKind::Link;
    default:
        return EntryKind::Other;
    }
}

/// What a directory says of its entry: asking the entry itself costs a call to the system.
EntryKind kindOf(const std::filesystem::directory_entry& entry, std::error_code& error) {
    if (entry.is_symlink(error)) {
        return EntryKind::Link;
    }
    if (!error && entry.is_directory(error)) {
        return EntryKind::Directory;
    }
    return !error && entry.is_regular_file(error) ? EntryKind::File : EntryKind::Other;
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

} // namespace

bool pathExists(const std::filesystem::path& path) {
    std::error_code error;
    const bool found = std::filesystem::exists(path, error);
    raiseOn(error, "exists", path);
    return found;
}

bool directoryExists(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return false;
    }
    raiseOn(error, "exists", path);
    return std::filesystem::is_directory(status);
}

EntryKind entryKind(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_type type = std::filesystem::symlink_status(path, error).type();
    if (type == std::filesystem::file_type::none) {
        raiseOn(error, "symlink_status", path);
    }
    return kindOf(type);
}

std::optional<std::vector<TreeEntry>> treeBelow(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::recursive_directory_iterator walk(directory, error);
    // Every path begins with the directory and a separator.
    const std::size_t rootLength = (directory / "").native().size();
    std::vector<TreeEntry> entries;
    while (!error && walk != std::filesystem::recursive_directory_iterator()) {
        const EntryKind kind = kindOf(*walk, error);
        entries.push_back({walk->path().native().substr(rootLength), kind});
        if (!error) {
            walk.increment(error);
        }
    }
    return error ? std::nullopt : std::optional(std::move(entries));
}

namespace {

/// What stands before a "." or ".." is made first: the library takes it for granted that of a path
/// that ends so nothing is there when it has seen so once.
std::error_code tryCreateDirectories(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path made;
    bool isMade = false;
    for (const std::filesystem::path& piece : path) {
        const bool isDots = piece == "." || piece == "..";
        if (isDots && !made.empty()) {
            std::filesystem::create_directories(made, error);
            if (error) {
                return error;
            }
        }
        isMade = isDots || (isMade && piece.empty());
        made /= piece;
    }
    if (!isMade) {
        std::filesystem::create_directories(path, error);
    }
    return error;
}

} // namespace

void createDirectories(const std::filesystem::path& path) {
    std::error_code error;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        error = tryCreateDirectories(path);
        // What was in the way is told to exist, and may be gone by now.
        if (error != std::errc::no_such_file_or_directory && error != std::errc::file_exists) {
            break;
        }
    }
    raiseOn(error, "create_directories", path);
}

void removeAll(const std::filesystem::path& path) {
    std::error_code error;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        std::filesystem::remove_all(path, error);
        if (error != std::errc::no_such_file_or_directory &&
            error != std::errc::directory_not_empty) {
            break;
        }
    }
    // Below a file there is nothing.
    if (error != std::errc::not_a_directory || pathExists(path)) {
        raiseOn(error, "remove_all", path);
    }
}

void removeAllOwned(const std::filesystem::path& path) {
    try {
        removeAll(path);
    } catch (const std::filesystem::filesystem_error& error) {
        if (error.code() != std::errc::permission_denied) {
            throw;
        }
        letOwnerInBelow(path);
        removeAll(path);
    }
}

bool removeFile(const std::filesystem::path& path, std::error_code& error) {
    std::filesystem::remove(path, error);
    return !error;
}

std::vector<std::filesystem::path> directoriesIn(const std::filesystem::path& parent) {
    std::vector<std::filesystem::path> found;
    std::error_code error;
    std::filesystem::directory_iterator entries(parent, error);
    if (error == std::errc::no_such_file_or_directory) {
        return found;
    }
    if (error) {
        throw std::filesystem::filesystem_error("directory_iterator::directory_iterator", parent,
                                                error);
    }
    while (entries != std::filesystem::directory_iterator()) {
        const bool isDirectory = entries->is_directory(error);
        if (error && error != std::errc::no_such_file_or_directory) {
            throw std::filesystem::filesystem_error("directory_entry::status", entries->path(),
                                                    error);
        }
        if (isDirectory) {
            found.push_back(entries->path());
        }
        entries.increment(error);
        if (error) {
            throw std::filesystem::filesystem_error("directory_iterator::operator++", parent,
                                                    error);
        }
    }
    return found;
}

std::vector<std::filesystem::path> entriesIn(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> found;
    std::error_code error;
    std::filesystem::directory_iterator entries(directory, error);
    raiseOn(error, "directory_iterator::directory_iterator", directory);
    while (entries != std::filesystem::directory_iterator()) {
        found.push_back(entries->path());
        entries.increment(error);
        raiseOn(error, "directory_iterator::operator++", directory);
    }
    return found;
}

std::vector<FoundFile> regularFilesBelow(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::recursive_directory_iterator walk(directory, error);
    if (error) {
        throw std::filesystem::filesystem_error(
            "recursive_directory_iterator::recursive_directory_iterator", directory, error);
    }
    std::vector<FoundFile> files;
    while (walk != std::filesystem::recursive_directory_iterator()) {
        const std::filesystem::path path = walk->path();
        if (isRegularFile(*walk)) {
            // What cannot be told counts as a link, which is resolved with more care.
            const bool isLink = walk->is_symlink(error) || error;
            files.push_back({path, isLink});
        }
        walk.increment(error);
        if (error) {
            throw std::filesystem::filesystem_error("recursive_directory_iterator::operator++",
                                                    path, error);
        }
    }
    return files;
}

} // namespace mos
