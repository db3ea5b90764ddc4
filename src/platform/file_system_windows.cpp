#include "platform/file_system.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/file_handle_windows.h"
#include "platform/full_path_windows.h"
#include "platform/patience_windows.h"
#include "platform/tree_removal_windows.h"

// The standard library of the compiler used here sees neither junctions nor symbolic links: it
// would take them for the directories they lead to and remove what is in those. Whatever may meet
// a link is therefore done with the system's own functions.

namespace mos {
namespace {

/// Another process may remove or create what is being worked on, which then fails halfway: begin
/// again with what is there now.
constexpr int mostAttempts = 1000;

/// Something in a directory, links not followed.
struct Entry {
    std::filesystem::path path;
    DWORD attributes = 0;
    DWORD reparseTag = 0; ///< meaningful for reparse points

    [[nodiscard]] bool isDirectory() const { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
    [[nodiscard]] bool isReadOnly() const { return (attributes & FILE_ATTRIBUTE_READONLY) != 0; }
    [[nodiscard]] bool isReparsePoint() const {
        return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    }
    /// A junction or a symbolic link: what opens through it lies elsewhere. Other reparse points,
    /// such as files kept in a cloud, are where they seem to be. Some systems tell no tag; no link
    /// may be missed there.
    [[nodiscard]] bool isLink() const {
        return isReparsePoint() && (reparseTag == 0 || IsReparseTagNameSurrogate(reparseTag));
    }
};

/// A search of a directory; closed with its object.
class Search {
public:
    explicit Search(const std::filesystem::path& directory)
        : handle(FindFirstFileExW(systemPath(directory / L"*").c_str(), FindExInfoBasic, &found,
                                  FindExSearchNameMatch, nullptr, 0)) {}
    ~Search() {
        if (isOpen()) {
            FindClose(handle);
        }
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    [[nodiscard]] bool isOpen() const { return handle != INVALID_HANDLE_VALUE; }
    [[nodiscard]] bool next() { return FindNextFileW(handle, &found) != FALSE; }
    [[nodiscard]] const WIN32_FIND_DATAW& current() const { return found; }

private:
    WIN32_FIND_DATAW found{};
    HANDLE handle;
};

/// The entries of a directory, appended to `entries`. On failure the reason is GetLastError().
bool listInto(const std::filesystem::path& directory, std::vector<Entry>& entries) {
    Search search(directory);
    if (!search.isOpen()) {
        // The root of a drive may have no entry at all.
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    do {
        const WIN32_FIND_DATAW& found = search.current();
        const std::wstring_view name(std::data(found.cFileName));
        if (name != L"." && name != L"..") {
            entries.push_back({directory / name, found.dwFileAttributes, found.dwReserved0});
        }
    } while (search.next());
    return GetLastError() == ERROR_NO_MORE_FILES;
}

/// Whether `path` holds what no name does. "x\"\\..\\file" leads to a file all the same, because
/// the system takes ".." as text, but what reads the path as part of a command line sees a
/// quotation mark.
bool holdsNoName(const std::filesystem::path& path) {
    constexpr std::wstring_view never = L"\"<>|*";
    return std::ranges::any_of(path.native(), [never](wchar_t unit) {
        return unit < L' ' || never.find(unit) != std::wstring_view::npos;
    });
}

/// What is at `path`, links followed; nothing when nothing is there. Errors other than that go to
/// `error`.
std::optional<DWORD> attributesOf(const std::filesystem::path& path, std::error_code& error) {
    if (holdsNoName(path)) {
        return std::nullopt;
    }
    const DWORD attributes = GetFileAttributesW(systemPath(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        return attributes;
    }
    const FileHandle file = openForQuery(path);
    FILE_BASIC_INFO info{};
    if (file.isOpen() &&
        GetFileInformationByHandleEx(file.get(), FileBasicInfo, &info, sizeof info) != FALSE) {
        return info.FileAttributes;
    }
    if (!saysNotFound(GetLastError())) {
        error = lastError();
    }
    return std::nullopt;
}

std::optional<DWORD> attributesOrRaise(const std::filesystem::path& path) {
    std::error_code error;
    const auto attributes = attributesOf(path, error);
    if (error) {
        throw std::filesystem::filesystem_error("exists", path, error);
    }
    return attributes;
}

bool isDirectoryAt(const std::filesystem::path& path) {
    std::error_code ignored;
    const auto attributes = attributesOf(path, ignored);
    return attributes && (*attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Creates one directory whose parent is there; one that exists is fine. False, with the reason
/// in GetLastError().
bool createOne(const std::filesystem::path& path) {
    if (CreateDirectoryW(systemPath(path).c_str(), nullptr) != FALSE) {
        return true;
    }
    const DWORD error = GetLastError();
    if (isDirectoryAt(path)) {
        return true;
    }
    SetLastError(error == ERROR_ALREADY_EXISTS ? ERROR_DIRECTORY : error);
    return false;
}

/// `path` and its parents as far as they are missing, the outermost last.
std::vector<std::filesystem::path> missingDirectories(std::filesystem::path path) {
    if (!path.has_filename()) {
        path = path.parent_path();
    }
    std::vector<std::filesystem::path> missing;
    while (!path.empty() && path.has_relative_path() && !isDirectoryAt(path)) {
        missing.push_back(path);
        path = path.parent_path();
    }
    return missing;
}

bool createMissing(const std::filesystem::path& path) {
    std::vector<std::filesystem::path> missing = missingDirectories(path);
    Patience patience;
    while (!missing.empty()) {
        if (createOne(missing.back())) {
            missing.pop_back();
            continue;
        }
        const DWORD error = GetLastError();
        if (error != ERROR_ACCESS_DENIED || !isBeingDeleted(missing.back()) || !patience.waits()) {
            SetLastError(error);
            return false;
        }
    }
    return true;
}

/// Removes one entry that is no directory with something in it. False, with the reason in
/// GetLastError().
bool removeEntry(const Entry& entry) {
    if (entry.isDirectory() ? RemoveDirectoryW(systemPath(entry.path).c_str()) != FALSE
                            : DeleteFileW(systemPath(entry.path).c_str()) != FALSE) {
        return true;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED && entry.isReadOnly()) {
        // Elsewhere such a file goes like any other.
        SetFileAttributesW(systemPath(entry.path).c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    SetLastError(error);
    return false;
}

/// Whether the last removal failed because there was nothing to remove any more.
bool wasGone() {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/// What is at `path` itself; nothing when nothing is there or the system does not tell.
std::optional<Entry> entryAt(const std::filesystem::path& path) {
    const FileHandle file = openLinkForQuery(path);
    const auto info = file.isOpen() ? attributesOf(file) : std::nullopt;
    if (!info) {
        return std::nullopt;
    }
    // Wine opens what a link leads to; its attributes by name are those of the link.
    const DWORD named = GetFileAttributesW(systemPath(path).c_str());
    const DWORD reparse =
        named == INVALID_FILE_ATTRIBUTES ? 0 : named & FILE_ATTRIBUTE_REPARSE_POINT;
    return Entry{path, info->FileAttributes | reparse, info->ReparseTag};
}

/// Why one entry cannot be removed now; no error when it can, or is gone.
std::error_code obstacleOf(const Entry& entry) {
    const FileHandle file = openHandle(
        entry.path,
        {.access = DELETE, .flags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT});
    return file.isOpen() || saysNotFound(GetLastError()) ? std::error_code() : lastError();
}

/// Removes a tree. A Patience lasts as long as nothing goes.
class TreeRemoval {
public:
    /// False, with the reason in GetLastError(), when something stays.
    [[nodiscard]] bool remove(Entry root) {
        pending.push_back({std::move(root), false});
        while (!pending.empty()) {
            if (!step()) {
                return false;
            }
        }
        return true;
    }

private:
    struct Pending {
        Entry entry;
        bool isListed; ///< its entries have been put on top of it
    };

    [[nodiscard]] bool step() {
        Pending& top = pending.back();
        if (top.entry.isDirectory() && !top.entry.isLink() && !top.isListed) {
            return list(top);
        }
        const bool isRemoved = removeEntry(top.entry);
        if (isRemoved || wasGone()) {
            pending.pop_back();
            // What cannot be reached is listed again and again, and always gone.
            patience = isRemoved ? Patience() : patience;
            return true;
        }
        const DWORD error = GetLastError();
        const bool isFilledAgain = error == ERROR_DIR_NOT_EMPTY && !top.entry.isLink();
        const bool passes = (isFilledAgain || mayBeScanner(error)) && patience.waits();
        top.isListed = !isFilledAgain;
        SetLastError(error);
        return passes;
    }

    /// Puts what is in a directory on top of it. One that is gone or going, by another process's
    /// hand, has nothing in it.
    [[nodiscard]] bool list(Pending& directory) {
        std::vector<Entry> entries;
        if (!listInto(directory.entry.path, entries)) {
            const DWORD error = GetLastError();
            const bool isGone = saysNotFound(error);
            const bool passes = isGone || (mayBeScanner(error) && patience.waits());
            directory.isListed = isGone;
            SetLastError(error);
            return passes;
        }
        directory.isListed = true;
        for (Entry& entry : entries) {
            pending.push_back({std::move(entry), false});
        }
        return true;
    }

    std::vector<Pending> pending;
    Patience patience;
};

EntryKind kindOf(const Entry& entry) {
    if (entry.isLink()) {
        return EntryKind::Link;
    }
    return entry.isDirectory() ? EntryKind::Directory : EntryKind::File;
}

/// The entries of a directory; while a scanner may hold it, listing is tried again. On failure the
/// reason is GetLastError().
std::optional<std::vector<Entry>> listed(const std::filesystem::path& directory) {
    std::vector<Entry> entries;
    const bool isListed = succeedsInTime([&directory, &entries] {
        entries.clear();
        return listInto(directory, entries);
    });
    return isListed ? std::optional(std::move(entries)) : std::nullopt;
}

/// What an entry is, links followed.
enum class EntryTarget { Nothing, File, Directory };

EntryTarget targetOf(const Entry& entry) {
    if (!entry.isLink()) {
        return entry.isDirectory() ? EntryTarget::Directory : EntryTarget::File;
    }
    std::error_code error;
    const auto attributes = attributesOf(entry.path, error);
    if (error) {
        throw std::filesystem::filesystem_error("directory_entry::status", entry.path, error);
    }
    if (!attributes) {
        return EntryTarget::Nothing;
    }
    return (*attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EntryTarget::Directory
                                                         : EntryTarget::File;
}

} // namespace

bool pathExists(const std::filesystem::path& path) {
    return attributesOrRaise(path).has_value();
}

bool directoryExists(const std::filesystem::path& path) {
    return (attributesOrRaise(path).value_or(0) & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

EntryKind entryKind(const std::filesystem::path& path) {
    const auto entry = entryAt(path);
    if (entry) {
        return kindOf(*entry);
    }
    if (!saysNotFound(GetLastError())) {
        throw std::filesystem::filesystem_error("symlink_status", path, lastError());
    }
    // A link to nothing may not be opened everywhere; it has attributes all the same.
    return GetFileAttributesW(systemPath(path).c_str()) == INVALID_FILE_ATTRIBUTES
               ? EntryKind::None
               : EntryKind::Link;
}

std::optional<std::vector<TreeEntry>> treeBelow(const std::filesystem::path& directory) {
    // Every path begins with the directory and a separator.
    const std::size_t rootLength = (directory / "").native().size();
    std::vector<std::filesystem::path> pending{directory};
    std::vector<TreeEntry> tree;
    while (!pending.empty()) {
        const auto entries = listed(pending.back());
        pending.pop_back();
        if (!entries) {
            return std::nullopt;
        }
        for (const Entry& entry : *entries) {
            const EntryKind kind = kindOf(entry);
            tree.push_back({entry.path.native().substr(rootLength), kind});
            if (kind == EntryKind::Directory) {
                pending.push_back(entry.path);
            }
        }
    }
    return tree;
}

void createDirectories(const std::filesystem::path& path) {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (createMissing(path)) {
            return;
        }
        // A directory above that goes at that moment is told as either.
        if (const DWORD error = GetLastError();
            error != ERROR_PATH_NOT_FOUND && error != ERROR_FILE_NOT_FOUND) {
            break;
        }
    }
    throw std::filesystem::filesystem_error("create_directories", path, lastError());
}

void removeAll(const std::filesystem::path& path) {
    const std::filesystem::path place = verbatimPath(path);
    std::optional<Entry> root;
    const bool isThere = succeedsInTime([&root, &place] {
        root = entryAt(place);
        return root.has_value();
    });
    if (!isThere && saysNotFound(GetLastError())) {
        return;
    }
    if (!root || !TreeRemoval().remove(*std::move(root))) {
        throw std::filesystem::filesystem_error("remove_all", path, lastError());
    }
}

void removeAllOwned(const std::filesystem::path& path) {
    // The mark "read-only" is taken off what is removed anyway.
    removeAll(path);
}

std::error_code removalObstacle(const std::filesystem::path& path) {
    auto root = entryAt(verbatimPath(path));
    std::vector<Entry> pending;
    if (root) {
        pending.push_back(*std::move(root));
    }
    while (!pending.empty()) {
        const Entry entry = std::move(pending.back());
        pending.pop_back();
        if (const std::error_code obstacle = obstacleOf(entry)) {
            return obstacle;
        }
        if (entry.isDirectory() && !entry.isLink() && !listInto(entry.path, pending) &&
            !saysNotFound(GetLastError())) {
            return lastError();
        }
    }
    return {};
}

bool removeFile(const std::filesystem::path& path, std::error_code& error) {
    error.clear();
    const auto file = entryAt(path);
    if (!file && saysNotFound(GetLastError())) {
        return true;
    }
    if (!file || !succeedsInTime([&file] { return removeEntry(*file) || wasGone(); })) {
        error = lastError();
    }
    return !error;
}

std::vector<std::filesystem::path> directoriesIn(const std::filesystem::path& parent) {
    const auto entries = listed(parent);
    if (!entries) {
        const bool isMissing = saysNotFound(GetLastError());
        std::error_code error = lastError();
        if (isMissing && (!pathExists(parent) || directoryExists(parent))) {
            return {};
        }
        // A file in the way reads like a directory that is not there.
        if (isMissing) {
            error = std::make_error_code(std::errc::not_a_directory);
        }
        throw std::filesystem::filesystem_error("directory_iterator::directory_iterator", parent,
                                                error);
    }
    std::vector<std::filesystem::path> found;
    for (const Entry& entry : *entries) {
        if (targetOf(entry) == EntryTarget::Directory) {
            found.push_back(entry.path);
        }
    }
    return found;
}

std::vector<std::filesystem::path> entriesIn(const std::filesystem::path& directory) {
    const auto entries = listed(directory);
    if (!entries) {
        throw std::filesystem::filesystem_error("directory_iterator::directory_iterator", directory,
                                                lastError());
    }
    std::vector<std::filesystem::path> found;
    found.reserve(entries->size());
    for (const Entry& entry : *entries) {
        found.push_back(entry.path);
    }
    return found;
}

std::vector<FoundFile> regularFilesBelow(const std::filesystem::path& directory) {
    std::vector<Entry> pending;
    if (!listInto(directory, pending)) {
        throw std::filesystem::filesystem_error(
            "recursive_directory_iterator::recursive_directory_iterator", directory, lastError());
    }
    std::vector<FoundFile> files;
    while (!pending.empty()) {
        const Entry entry = std::move(pending.back());
        pending.pop_back();
        if (targetOf(entry) == EntryTarget::File) {
            files.push_back({entry.path, entry.isLink()});
        } else if (entry.isDirectory() && !entry.isLink() && !listInto(entry.path, pending)) {
            throw std::filesystem::filesystem_error("recursive_directory_iterator::operator++",
                                                    entry.path, lastError());
        }
    }
    return files;
}

} // namespace mos
