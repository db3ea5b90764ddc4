#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/file_descriptor_posix.h"
#include "platform/file_system.h"
#include "platform/owner_rights_posix.h"
#include "platform/staging_directory.h"

// Who is alive is told by a lock on the directory's own handle: it goes with its process, however
// that ends.

namespace mos {

struct StagingDirectory::Lock {
    FileDescriptor handle;
};

namespace {

constexpr std::string_view prefix = ".staging-";
constexpr char del = '\x7f'; // no package's name may hold it

bool isStagingName(std::string_view name) {
    return name.starts_with(prefix) && name.ends_with(del);
}

/// A name that this process has not used before.
std::string nextName() {
    static std::uint64_t count = 0;
    std::string name(prefix);
    name.append(std::to_string(::getpid())).append("-").append(std::to_string(count++));
    name.push_back(del);
    return name;
}

FileDescriptor openDirectory(const std::filesystem::path& path) {
    return openDescriptor(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

void removeQuietly(const std::filesystem::path& path) {
    try {
        removeAllOwned(path);
    } catch (const std::exception&) {
        // The next install tries again.
        return;
    }
}

void removeIfAbandoned(const std::filesystem::path& path) {
    const FileDescriptor directory = openDirectory(path);
    // Without locks nobody can tell whether its process lives: better to leave it.
    if (directory.isOpen() && lockDescriptor(directory, LockWait::No) == LockResult::Locked &&
        isStillAt(directory, path)) {
        removeQuietly(path);
    }
}

std::error_code lastError() {
    return {errno, std::generic_category()};
}

/// Whether an error of renameat2 may say that the file system, or what filters the system's calls,
/// does not know that kind of renaming.
bool saysUnknown(int error) {
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM;
}

bool isNotThere(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

/// Moves a directory to a name that is free; why it could not be done.
std::error_code moveTo(const std::filesystem::path& source, const std::filesystem::path& target) {
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
        return {};
    }
    if (!saysUnknown(errno)) {
        return lastError();
    }
    // Not every file system can refuse to replace; the plain move is then as near as one can get.
    if (!isNotThere(target)) {
        return std::make_error_code(std::errc::file_exists);
    }
    return ::rename(source.c_str(), target.c_str()) == 0 ? std::error_code() : lastError();
}

/// Moves `path` to a name of a staging directory beside it, which is put into `aside`; why it could
/// not be done. Killed runs may have left names that this process would use.
std::error_code moveAside(const std::filesystem::path& path, std::filesystem::path& aside) {
    std::error_code error = std::make_error_code(std::errc::file_exists);
    for (int attempt = 0; attempt < mostLockAttempts && error == std::errc::file_exists;
         ++attempt) {
        aside = path.parent_path() / nextName();
        error = moveTo(path, aside);
    }
    return error;
}

} // namespace

StagingDirectory::StagingDirectory(const std::filesystem::path& parent) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path candidate = parent / nextName();
        if (::mkdir(candidate.c_str(), 0777) != 0) {
            creationError = lastError();
            if (creationError == std::errc::file_exists) {
                continue;
            }
            return;
        }
        FileDescriptor handle = openDirectory(candidate);
        if (!handle.isOpen()) {
            creationError = lastError();
            if (creationError == std::errc::no_such_file_or_directory) {
                continue;
            }
            removeQuietly(candidate);
            return;
        }
        static_cast<void>(lockDescriptor(handle, LockWait::Yes));
        // Until it was locked, another process could take it for abandoned and remove it.
        if (isStillAt(handle, candidate)) {
            directory = std::move(candidate);
            lock = std::make_unique<Lock>(Lock{std::move(handle)});
            creationError.clear();
            return;
        }
        creationError = lastError();
        removeQuietly(candidate);
    }
}

StagingDirectory::~StagingDirectory() {
    if (!directory.empty()) {
        removeQuietly(directory);
    }
}

std::error_code StagingDirectory::moveOut(const std::filesystem::path& name,
                                          const std::filesystem::path& target) {
    if (directory.empty()) {
        return creationError;
    }
    const std::error_code error = loss();
    return error ? error : moveTo(directory / name, target);
}

std::error_code StagingDirectory::loss() const {
    return isStillAt(lock->handle, directory) ? std::error_code()
                                              : std::error_code(ESTALE, std::generic_category());
}

std::error_code StagingDirectory::putInPlace(const std::filesystem::path& name,
                                             const std::filesystem::path& target) {
    const std::filesystem::path source = directory / name;
    // Another process may put something there or take it away at any moment.
    constexpr int mostExchanges = 1000;
    std::error_code error = loss();
    if (error) {
        return error;
    }
    bool isLetIn = false;
    for (int attempt = 0; attempt < mostExchanges; ++attempt) {
        if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) {
            return {};
        }
        error = lastError();
        if (error == std::errc::no_such_file_or_directory) {
            error = moveTo(source, target);
        }
        if (!error) {
            return {};
        }
        if (saysUnknown(error.value()) || error == std::errc::cross_device_link) {
            const std::error_code failure = takeIn(target);
            if (failure || !moveTo(source, target)) {
                return failure;
            }
        } else if (error == std::errc::permission_denied && !isLetIn && letOwnerIn(target)) {
            isLetIn = true;
        } else if (error != std::errc::file_exists) {
            break;
        }
    }
    return error;
}

std::error_code StagingDirectory::takeIn(const std::filesystem::path& target) {
    const std::filesystem::path place = directory / nextName();
    const auto isGone = [&target, &place] {
        return ::rename(target.c_str(), place.c_str()) == 0 || errno == ENOENT;
    };
    if (isGone()) {
        return {};
    }
    const std::error_code error = lastError();
    if (error == std::errc::cross_device_link) {
        // A directory in a lower layer of a union file system: only what is in it can go.
        return tryRemoveAll(target);
    }
    const bool isMine = error == std::errc::permission_denied && letOwnerIn(target);
    return isMine && isGone() ? std::error_code() : error;
}

void StagingDirectory::discard(const std::filesystem::path& path) {
    std::filesystem::path aside;
    // Removing needs open files, of which there may be none left; renaming does not.
    removeQuietly(moveAside(path, aside) ? path : aside);
}

std::error_code StagingDirectory::removeWhole(const std::filesystem::path& path) {
    std::filesystem::path aside;
    const std::error_code error = moveAside(path, aside);
    if (!error) {
        return tryRemoveAll(aside);
    }
    if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted) {
        return error;
    }
    // Nothing is there, or a mount point, which can only be emptied.
    return tryRemoveAll(path);
}

bool StagingDirectory::isName(const std::filesystem::path& fileName) {
    return isStagingName(fileName.native());
}

void StagingDirectory::removeAbandoned(const std::filesystem::path& parent) {
    std::error_code error;
    std::filesystem::directory_iterator entry(parent, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        if (isStagingName(entry->path().filename().native())) {
            removeIfAbandoned(entry->path());
        }
        entry.increment(error);
    }
}

} // namespace mos
