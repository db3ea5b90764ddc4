#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
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
// 2. The temporary file stands there under a name that nobody else ever gives, so that no other
// file
//    is renamed or removed in its place. A lock on its handle tells that its writer lives: what
//    killed runs left in the directory is removed first.
// 3. commit() flushes the temporary file and renames it over the target.
//
// Whatever is no ordinary file (a device, a pipe), or stands where no temporary file may be made or
// moved, is written in place. What else keeps the temporary file from being made (room, open files,
// a server that does not answer) might stop the writing of the target halfway as well: then nothing
// is written.

namespace mos {

struct FileReplacement::State {
    FileAccess access = FileAccess::Default;
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

/// Removes a temporary file of this process. What must stay becomes empty: it may hold a secret.
/// Leaves errno as it is.
void removeTemporary(const std::filesystem::path& path, const FileDescriptor& file) {
    const int reason = errno;
    [[maybe_unused]] const bool isHarmless =
        ::unlink(path.c_str()) == 0 || ::ftruncate(file.get(), 0) == 0;
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

/// Removes a temporary file whose writer is gone; whether it did.
bool removeAbandonedFile(const std::filesystem::path& path) {
    // For writing alone, which is what every target allows its owner; without blocking, because
    // somebody may have put a pipe there.
    const FileDescriptor file = openDescriptor(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
    // Without locks nobody can tell whether the writer lives: better to leave it.
    return file.isOpen() && lockDescriptor(file, LockWait::No) == LockResult::Locked &&
           ::unlink(path.c_str()) == 0;
}

std::string nextTemporaryName() {
    const auto moment = std::chrono::steady_clock::now().time_since_epoch();
    return temporaryName(static_cast<std::uint64_t>(::getpid()),
                         static_cast<std::uint64_t>(moment.count()));
}

/// Makes and locks a temporary file, which is empty and its user's alone.
Temporary createTemporary(const std::filesystem::path& directory) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path path = directory / nextTemporaryName();
        FileDescriptor file =
            openDescriptor(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
        if (!file.isOpen()) {
            if (errno == EEXIST) {
                continue;
            }
            return {};
        }
        // Until it is locked, another process can take it for abandoned: it locks and removes it.
        if (lockDescriptor(file, LockWait::No) != LockResult::Busy && !hasGone(file)) {
            return {std::move(path), std::move(file)};
        }
        static_cast<void>(::unlink(path.c_str()));
    }
    errno = EAGAIN;
    return {};
}

/// Whether the last call failed for what the target's directory forbids and not for what the system
/// lacks.
bool directoryForbidsIt() {
    switch (errno) {
    case EACCES:
    case ENAMETOOLONG:
    case ENOSYS:
    case ENOTSUP:
    case EPERM:
    case EROFS:
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
    removeAbandonedReplacementsIn(directory);
    Temporary temporary = createTemporary(directory);
    if (temporary.file.isOpen() && !prepareTemporary(temporary.file, target, access)) {
        removeTemporary(temporary.path, temporary.file);
        return {};
    }
    return temporary;
}

/// Opens a file that is written in place, or makes it; `flags` are those of open().
FileDescriptor openOrMake(const std::filesystem::path& path, FileAccess access, int flags) {
    const mode_t mode = access == FileAccess::OwnerOnly ? S_IRUSR | S_IWUSR : 0666;
    return openDescriptor(path, O_WRONLY | O_CREAT | flags, mode);
}

/// Takes from an existing file what others could do with it, if it is for its owner alone.
void makePrivate(const FileDescriptor& file, FileAccess access) {
    if (access == FileAccess::OwnerOnly) {
        // Some file systems have no modes; the file is as private there as it can be.
        static_cast<void>(::fchmod(file.get(), S_IRUSR | S_IWUSR));
    }
}

/// Opens the target itself, empty.
FileDescriptor openInPlace(Target target, FileAccess access) {
    if (!target.existing.isOpen()) {
        return openOrMake(target.path, access, O_TRUNC);
    }
    if (S_ISREG(target.status.st_mode)) {
        makePrivate(target.existing, access);
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

/// Whether the disk has room for a file of `size` bytes, as far as its file system can tell.
bool hasRoom(const FileDescriptor& file, off_t size) {
    return size == 0 || ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, size) == 0 ||
           (errno != ENOSPC && errno != EDQUOT && errno != EFBIG);
}

bool copyInPlace(const FileDescriptor& source, const std::filesystem::path& target,
                 FileAccess access) {
    const FileDescriptor output = openOrMake(target, access, 0);
    const off_t size = ::lseek(source.get(), 0, SEEK_END);
    if (!output.isOpen() || size < 0 || !hasRoom(output, size) ||
        ::lseek(source.get(), 0, SEEK_SET) != 0) {
        return false;
    }
    makePrivate(output, access);
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
            return ::ftruncate(output.get(), size) == 0 && flush(output);
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
    state->access = access;
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
        if (!directoryForbidsIt()) {
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
    if (!state->temporary.empty()) {
        removeTemporary(state->temporary, state->output);
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
    if (::rename(state->temporary.c_str(), state->target.c_str()) == 0) {
        state->temporary.clear();
        return true;
    }
    return (targetCannotBeMovedOver() && !state->isSecretInForeignFile &&
            copyInPlace(state->output, state->target, state->access)) ||
           state->fail();
}

std::error_code FileReplacement::error() const noexcept {
    return state->error;
}

bool removeAbandonedReplacement(const std::filesystem::path& file) {
    return isTemporaryName(file.filename()) && removeAbandonedFile(file);
}

} // namespace mos
