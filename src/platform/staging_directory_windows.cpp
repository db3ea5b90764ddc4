#include <windows.h>

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/file_handle_windows.h"
#include "platform/file_system.h"
#include "platform/full_path_windows.h"
#include "platform/patience_windows.h"
#include "platform/staging_directory.h"
#include "platform/tree_removal_windows.h"

// Who is alive is told by a handle of the directory that lets nobody else write to it as a
// directory or delete it: it goes with its process, however that ends. What is in the directory is
// opened, listed and moved away as if there were no such handle; nothing can be moved into it.

namespace mos {

struct StagingDirectory::Lock {
    FileHandle handle;
};

namespace {

constexpr std::wstring_view prefix = L".staging-";
constexpr wchar_t del = L'\x7f'; // no package's name may hold it
constexpr std::wstring_view takenName = L"taken\x7f";

bool isStagingName(std::wstring_view name) {
    return name.starts_with(prefix) && name.ends_with(del);
}

/// A name that this process has not used before.
std::wstring nextName() {
    static std::uint64_t count = 0;
    std::wstring name(prefix);
    name.append(std::to_wstring(GetCurrentProcessId())).append(L"-");
    name.append(std::to_wstring(count++)).push_back(del);
    return name;
}

/// Not open when another process has the directory locked, or it is a link or none at all.
FileHandle lockDirectory(const std::filesystem::path& path) {
    // Not openHandle, which would wait for the other process.
    FileHandle directory(CreateFileW(
        systemPath(path).c_str(), FILE_ADD_FILE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    const auto info = directory.isOpen() ? attributesOf(directory) : std::nullopt;
    const bool isDirectory = info && (info->FileAttributes &
                                      (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
                                         FILE_ATTRIBUTE_DIRECTORY;
    return isDirectory ? std::move(directory) : FileHandle();
}

void removeQuietly(const std::filesystem::path& path) {
    try {
        removeAll(path);
    } catch (const std::exception&) {
        // The next install tries again.
        return;
    }
}

/// Removes what is in the directory while it is locked and then, unlocked, the directory.
void removeLocked(const std::filesystem::path& path, FileHandle directoryLock) {
    try {
        for (const std::filesystem::path& entry : entriesIn(verbatimPath(path))) {
            removeAll(entry);
        }
    } catch (const std::exception&) {
        // The next install tries again.
        return;
    }
    directoryLock.close();
    removeQuietly(path);
}

/// Moves a directory to a name that is free; false, with the system's last error, when it could not
/// be done.
bool moveTo(const std::filesystem::path& source, const std::filesystem::path& target) {
    return succeedsInTime([from = systemPath(source), to = systemPath(target)] {
        if (MoveFileExW(from.c_str(), to.c_str(), 0) != FALSE) {
            return true;
        }
        const DWORD error = GetLastError();
        // Some file systems deny access where something is in the way; no waiting helps there.
        const bool isTaken = GetFileAttributesW(to.c_str()) != INVALID_FILE_ATTRIBUTES;
        SetLastError(isTaken ? ERROR_ALREADY_EXISTS : error);
        return false;
    });
}

/// Whether the last call failed because nothing is at `path`. Leaves GetLastError() as it is.
bool isGone(const std::filesystem::path& path) {
    const DWORD error = GetLastError();
    const bool isThere = GetFileAttributesW(systemPath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
    const bool gone = saysNotFound(error) && !isThere && saysNotFound(GetLastError());
    SetLastError(error);
    return gone;
}

/// Moves `path` to a name of a staging directory beside it; where it is now. Killed runs may have
/// left names that this process would use.
std::filesystem::path movedAside(const std::filesystem::path& path) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path aside = path.parent_path() / nextName();
        if (moveTo(path, aside)) {
            return aside;
        }
        if (GetLastError() != ERROR_ALREADY_EXISTS) {
            break;
        }
    }
    return path;
}

} // namespace

StagingDirectory::StagingDirectory(const std::filesystem::path& parent) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path candidate = parent / nextName();
        if (CreateDirectoryW(systemPath(candidate).c_str(), nullptr) == FALSE) {
            creationError = lastError();
            if (GetLastError() == ERROR_ALREADY_EXISTS) {
                continue;
            }
            return;
        }
        FileHandle handle = lockDirectory(candidate);
        if (handle.isOpen()) {
            directory = std::move(candidate);
            lock = std::make_unique<Lock>(Lock{std::move(handle)});
            creationError.clear();
            return;
        }
        creationError = lastError();
        // Until it was locked, another process could take it for abandoned and remove it.
        if (GetLastError() != ERROR_SHARING_VIOLATION && !saysNotFound(GetLastError())) {
            removeQuietly(candidate);
            return;
        }
    }
}

StagingDirectory::~StagingDirectory() {
    if (!directory.empty()) {
        removeLocked(directory, std::move(lock->handle));
    }
}

std::error_code StagingDirectory::moveOut(const std::filesystem::path& name,
                                          const std::filesystem::path& target) {
    if (directory.empty()) {
        return creationError;
    }
    return moveTo(directory / name, target) ? std::error_code() : lastError();
}

std::error_code StagingDirectory::loss() const {
    // Its handle keeps it in its place, but not the server that holds it all.
    const bool isThere =
        GetFileAttributesW(systemPath(directory).c_str()) != INVALID_FILE_ATTRIBUTES;
    return isThere ? std::error_code() : lastError();
}

std::error_code StagingDirectory::putInPlace(const std::filesystem::path& name,
                                             const std::filesystem::path& target) {
    // Another process may put something there at any moment.
    constexpr int mostExchanges = 1000;
    std::error_code error;
    for (int attempt = 0; attempt < mostExchanges; ++attempt) {
        error = moveOut(name, target);
        if (!error) {
            return {};
        }
        if (error != std::errc::file_exists) {
            break;
        }
        if (const std::error_code failure = takeIn(target)) {
            return failure;
        }
    }
    return error;
}

std::error_code StagingDirectory::takeIn(const std::filesystem::path& target) {
    // Not into the directory itself, which is open and lets nobody write: to move something the
    // system opens the directory that it comes to.
    const std::filesystem::path room = directory / takenName;
    if (CreateDirectoryW(systemPath(room).c_str(), nullptr) == FALSE &&
        GetLastError() != ERROR_ALREADY_EXISTS) {
        return lastError();
    }
    // Another process may put something else there at any moment.
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        if (moveTo(target, room / nextName()) || isGone(target)) {
            return {};
        }
        if (!saysNotFound(GetLastError())) {
            break;
        }
    }
    return lastError();
}

void StagingDirectory::discard(const std::filesystem::path& path) {
    // Nobody takes what is in a staging directory for anything, and nothing is moved into one.
    removeQuietly(isName(path.parent_path().filename()) ? path : movedAside(path));
}

std::error_code StagingDirectory::removeWhole(const std::filesystem::path& path) {
    const std::filesystem::path aside = movedAside(path);
    // A directory cannot be moved while something in it is open, and might be removed by half.
    const std::error_code obstacle = aside == path ? removalObstacle(path) : std::error_code();
    return obstacle ? obstacle : tryRemoveAll(aside);
}

bool StagingDirectory::isName(const std::filesystem::path& fileName) {
    return isStagingName(fileName.native());
}

void StagingDirectory::removeAbandoned(const std::filesystem::path& parent) {
    std::vector<std::filesystem::path> entries;
    try {
        entries = entriesIn(parent);
    } catch (const std::filesystem::filesystem_error&) {
        // Whoever uses the directory will say what is wrong.
        return;
    }
    for (const std::filesystem::path& entry : entries) {
        FileHandle handle = isName(entry.filename()) ? lockDirectory(entry) : FileHandle();
        if (handle.isOpen()) {
            removeLocked(entry, std::move(handle));
        }
    }
}

} // namespace mos
