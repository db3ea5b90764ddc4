#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/file_descriptor_posix.h"
#include "platform/file_replacement.h"
#include "platform/temporary_name.h"

// How a file is replaced:
//
// 1. The target is opened for writing, without a change, to learn whether it may be written at all,
//    what it is, and its mode and owner. Links are then read by hand, so that the new file can be
//    made beside the file that they lead to.
// 2. The temporary file stands there under a name of its writer alone, so that no other file is
//    renamed in its place. A lock on its handle tells that its writer lives: what killed runs left
//    in the directory is removed first and never piles up.
// 3. commit() flushes the temporary file and renames it over the target.
//
// Whatever is no ordinary file (a device, a pipe), or stands where no temporary file may be made or
// moved, is written in place. What is missing for the temporary file (room, open files, memory)
// might be missing halfway through the target as well: then nothing is written.

namespace mos {

struct FileReplacement::State {
    std::filesystem::path target;
    std::filesystem::path temporary; ///< empty while the target is written in place
    FileDescriptor output;
    bool isSecretInForeignFile = false; ///< written in place, somebody else could read it
    std::error_code error;              ///< of the operation that failed

    bool fail() {
        error = std::error_code(errno, std::generic_category());
        return false;
    }
};

namespace {

constexpr int mostLinks = 40;
constexpr mode_t modeBits = 07777;

/// What is known of the target before it is replaced.
struct Target {
    std::filesystem::path path;
    FileDescriptor existing; ///< open for writing; not open when nothing is there yet
    struct stat status {};   ///< of `existing`
    bool canBeReplaced = true;

    [[nodiscard]] bool isForeign() const {
        return existing.isOpen() && status.st_uid != ::geteuid();
    }
};

/// A temporary file beside the target. Not open when there can be none, for which errno has the
/// reason.
struct Temporary {
    std::filesystem::path path;
    FileDescriptor file;
};

/// Leaves errno as it is.
void removeTemporary(const std::filesystem::path& path) {
    const int reason = errno;
    static_cast<void>(::unlink(path.c_str()));
    errno = reason;
}

/// The text of the symbolic link `path`; nothing when it is none.
std::optional<std::filesystem::path> linkText(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path text = std::filesystem::read_symlink(path, error);
    return error ? std::nullopt : std::optional(std::move(text));
}

/// The path at the end of the links that begin at `path`, whether or not anything is there;
/// nothing when there are too many of them.
std::optional<std::filesystem::path> endOfLinks(std::filesystem::path path) {
    for (int links = 0; links <= mostLinks; ++links) {
        const std::optional<std::filesystem::path> text = linkText(path);
        if (!text) {
            return path;
        }
        path = path.parent_path() / *text;
    }
    return std::nullopt;
}

/// Nothing when the file cannot be written.
std::optional<Target> examineOnce(const std::filesystem::path& path) {
    Target target;
    target.existing = openDescriptor(path, O_WRONLY);
    if (!target.existing.isOpen() && errno != ENOENT) {
        return std::nullopt;
    }
    if (target.existing.isOpen() && ::fstat(target.existing.get(), &target.status) != 0) {
        return std::nullopt;
    }
    std::optional<std::filesystem::path> end = endOfLinks(path);
    if (!end || !end->has_filename()) {
        return std::nullopt;
    }
    target.path = std::move(*end);
    // The links under /proc/self/fd lead to open files and their text is not always a path: the
    // second test finds that out.
    target.canBeReplaced = !target.existing.isOpen() || (S_ISREG(target.status.st_mode) &&
                                                         isStillAt(target.existing, target.path));
    return target;
}

/// Whether what is open has lost its last name.
bool hasGone(const FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && status.st_nlink == 0;
}

/// The same, once more when the file was removed or replaced meanwhile: whoever reads it still must
/// not see it change.
std::optional<Target> examine(const std::filesystem::path& path) {
    std::optional<Target> target;
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        target = examineOnce(path);
        if (!target || target->canBeReplaced || !hasGone(target->existing)) {
            break;
        }
    }
    return target;
}

/// The process's file mode mask, which the system only tells while it is being changed.
mode_t fileModeMask() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

mode_t wantedMode(const Target& target, FileAccess access) {
    if (access == FileAccess::OwnerOnly) {
        return S_IRUSR | S_IWUSR;
    }
    if (target.existing.isOpen()) {
        return target.status.st_mode & modeBits;
    }
    return 0666 & ~fileModeMask();
}

/// Removes a temporary file whose writer is gone.
void removeAbandonedFile(const std::filesystem::path& path) {
    // Without blocking: somebody may have put a pipe there.
    const FileDescriptor file = openDescriptor(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK);
    // Without locks nobody can tell whether the writer lives: better to leave it.
    if (file.isOpen() && lockDescriptor(file, LockWait::No) == LockResult::Locked &&
        isStillAt(file, path)) {
        static_cast<void>(::unlink(path.c_str()));
    }
}

void removeAbandonedIn(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::directory_iterator entry(directory.empty() ? "." : directory, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        if (isTemporaryName(entry->path().filename())) {
            removeAbandonedFile(entry->path());
        }
        entry.increment(error);
    }
}

/// Makes and locks a temporary file, which is empty and its user's alone.
Temporary createTemporary(const std::filesystem::path& directory) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path path =
            directory / nextTemporaryName(static_cast<std::uint64_t>(::getpid()));
        FileDescriptor file =
            openDescriptor(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
        if (!file.isOpen()) {
            if (errno == EEXIST) {
                continue;
            }
            return {};
        }
        static_cast<void>(lockDescriptor(file, LockWait::Yes));
        if (isStillAt(file, path)) {
            return {std::move(path), std::move(file)};
        }
        // Until it was locked, another process could take it for abandoned and remove it.
        const bool isTaken = errno == ENOENT || errno == ESTALE;
        if (errno != ESTALE) {
            removeTemporary(path);
        }
        if (!isTaken) {
            return {};
        }
    }
    return {};
}

/// Whether the last call failed for what the system lacks and not for what it forbids.
bool systemLacksSomething() {
    switch (errno) {
    case EDQUOT:
    case EIO:
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case ENOSPC:
        return true;
    default:
        return false;
    }
}

/// Whether an error of fchown says that the user may not give files to that owner, or that his
/// space of users (user_namespaces(7)) does not know him.
bool saysForbidden(int error) {
    return error == EPERM || error == EINVAL;
}

/// `mode` for a file of another group, whose members may do what everybody may.
mode_t withoutGroup(mode_t mode) {
    return (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & S_IRWXO) << 3U;
}

/// Gives the temporary file the mode and the owner that the target shall have. Where the file of
/// somebody else is replaced, who may not be given files, it becomes the user's own.
bool prepareTemporary(const FileDescriptor& file, const Target& target, FileAccess access) {
    mode_t mode = wantedMode(target, access);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return false;
    }
    const struct stat& wanted = target.existing.isOpen() ? target.status : status;
    if ((status.st_uid != wanted.st_uid || status.st_gid != wanted.st_gid) &&
        ::fchown(file.get(), wanted.st_uid, wanted.st_gid) != 0) {
        if (!saysForbidden(errno)) {
            return false;
        }
        const bool keepsGroup = status.st_gid == wanted.st_gid ||
                                ::fchown(file.get(), status.st_uid, wanted.st_gid) == 0;
        mode = keepsGroup ? mode : withoutGroup(mode);
    }
    return ::fchmod(file.get(), mode) == 0;
}

Temporary makeTemporary(const Target& target, FileAccess access) {
    const std::filesystem::path directory = target.path.parent_path();
    removeAbandonedIn(directory);
    Temporary temporary = createTemporary(directory);
    if (temporary.file.isOpen() && !prepareTemporary(temporary.file, target, access)) {
        removeTemporary(temporary.path);
        return {};
    }
    return temporary;
}

/// Opens the target itself, empty.
FileDescriptor openInPlace(Target target, FileAccess access) {
    if (!target.existing.isOpen()) {
        const mode_t mode = access == FileAccess::OwnerOnly ? S_IRUSR | S_IWUSR : 0666;
        return openDescriptor(target.path, O_WRONLY | O_CREAT | O_TRUNC, mode);
    }
    if (S_ISREG(target.status.st_mode)) {
        if (access == FileAccess::OwnerOnly) {
            // Some file systems have no modes; the file is as private there as it can be.
            static_cast<void>(::fchmod(target.existing.get(), S_IRUSR | S_IWUSR));
        }
        if (::ftruncate(target.existing.get(), 0) != 0) {
            return {};
        }
    }
    return std::move(target.existing);
}

bool flush(const FileDescriptor& file) {
    // Pipes and most devices have nothing to flush and say so.
    return ::fsync(file.get()) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

/// Whether the last rename failed for what the target is and not for what the disk lacks: it is a
/// mount point, or somebody else's file in a shared directory.
bool targetCannotBeMovedOver() {
    return errno == EBUSY || errno == EXDEV || errno == EPERM || errno == EACCES;
}

bool copyInPlace(const FileDescriptor& source, const std::filesystem::path& target) {
    const FileDescriptor output = openDescriptor(target, O_WRONLY | O_TRUNC);
    if (!output.isOpen() || ::lseek(source.get(), 0, SEEK_SET) != 0) {
        return false;
    }
    std::array<std::byte, 65536> buffer{};
    for (;;) {
        const ssize_t length = ::read(source.get(), buffer.data(), buffer.size());
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length < 0) {
            return false;
        }
        if (length == 0) {
            return flush(output);
        }
        if (!writeAll(output, std::span(buffer).first(static_cast<std::size_t>(length)))) {
            return false;
        }
    }
}

} // namespace

FileReplacement::FileReplacement(const std::filesystem::path& path, FileAccess access)
    : state(std::make_unique<State>()) {
    std::optional<Target> target = examine(path);
    if (!target) {
        state->fail();
        return;
    }
    state->target = target->path;
    // Root could keep the owner, and so hand the content out; it is root's to do so.
    state->isSecretInForeignFile =
        access == FileAccess::OwnerOnly && target->isForeign() && ::geteuid() != 0;
    if (target->canBeReplaced) {
        Temporary temporary = makeTemporary(*target, access);
        if (temporary.file.isOpen()) {
            state->temporary = std::move(temporary.path);
            state->output = std::move(temporary.file);
            return;
        }
        // A directory that is gone may be back at any moment, with others that read in it.
        if (systemLacksSomething() || errno == ENOENT) {
            state->fail();
            return;
        }
    }
    if (state->isSecretInForeignFile) {
        errno = EACCES;
        state->fail();
        return;
    }
    state->output = openInPlace(std::move(*target), access);
    if (!state->output.isOpen()) {
        state->fail();
    }
}

FileReplacement::~FileReplacement() {
    if (!state->temporary.empty() && isStillAt(state->output, state->temporary)) {
        removeTemporary(state->temporary);
    }
}

bool FileReplacement::isOpen() const noexcept {
    return state->output.isOpen();
}

bool FileReplacement::write(std::span<const std::byte> bytes) {
    if (!isOpen() || state->error) {
        return false;
    }
    return writeAll(state->output, bytes) || state->fail();
}

bool FileReplacement::commit() {
    if (!isOpen() || state->error) {
        return false;
    }
    if (!flush(state->output)) {
        return state->fail();
    }
    if (state->temporary.empty()) {
        return true;
    }
    // Where the directory was emptied, a writer of another container, whose processes may have the
    // same numbers, could have the name by now.
    if (!isStillAt(state->output, state->temporary)) {
        errno = errno == ESTALE ? ENOENT : errno;
        return state->fail();
    }
    if (::rename(state->temporary.c_str(), state->target.c_str()) == 0) {
        state->temporary.clear();
        return true;
    }
    return (targetCannotBeMovedOver() && !state->isSecretInForeignFile &&
            copyInPlace(state->output, state->target)) ||
           state->fail();
}

std::error_code FileReplacement::error() const noexcept {
    return state->error;
}

void removeAbandonedReplacement(const std::filesystem::path& path) {
    const std::optional<std::filesystem::path> target = endOfLinks(path);
    if (target) {
        removeAbandonedIn(target->parent_path());
    }
}

} // namespace mos
