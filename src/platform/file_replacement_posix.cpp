#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/access_rights_posix.h"
#include "platform/file_descriptor_posix.h"
#include "platform/file_replacement.h"
#include "platform/temporary_name.h"

// How a file is replaced:
//
// 1. The target is opened for writing, without a change, to learn whether it may be written at all,
//    what it is, and its mode and owner. Links are then read by hand, so that the new file can be
//    made beside the file that they lead to.
// 2. The temporary file stands there under a name that nobody else ever gives, so that nothing else
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
    FileDescriptor inPlace;    ///< the target, if it is written when all of `output` is there
    bool isTargetMade = false; ///< by this writer, who has not written it whole
    std::error_code error;     ///< of the operation that failed

    bool fail() {
        error = std::error_code(errno, std::generic_category());
        return false;
    }
};

namespace {

constexpr int mostLinks = 40;

/// What is known of the target before it is replaced.
struct Target {
    std::filesystem::path path;
    FileDescriptor existing; ///< open for writing; not open when nothing is there yet
    bool canBeReplaced = true;
    bool isUncertain = false; ///< something else was put in its place meanwhile
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

/// Whether an error of readlink says that there is no link, or none that can be named: the text of
/// a link under /proc/self/fd is not always a path.
bool isEndOfLinks(int error) {
    switch (error) {
    case EACCES:
    case EINVAL:
    case ENAMETOOLONG:
    case ENOENT:
    case ENOTDIR:
        return true;
    default:
        return false;
    }
}

/// The path at the end of the links that begin at `path`, whether or not anything is there;
/// nothing, with the reason in errno, when they cannot be followed.
std::optional<std::filesystem::path> endOfLinks(std::filesystem::path path) {
    for (int links = 0; links <= mostLinks; ++links) {
        std::error_code error;
        const std::filesystem::path text = std::filesystem::read_symlink(path, error);
        if (error && isEndOfLinks(error.value())) {
            return path;
        }
        if (error) {
            errno = error.value();
            return std::nullopt;
        }
        path = path.parent_path() / text;
    }
    errno = ELOOP;
    return std::nullopt;
}

/// Nothing when the file cannot be written.
std::optional<Target> examineOnce(const std::filesystem::path& path) {
    Target target;
    target.existing = openDescriptor(path, O_WRONLY);
    if (!target.existing.isOpen() && errno != ENOENT) {
        return std::nullopt;
    }
    std::optional<std::filesystem::path> end = endOfLinks(path);
    if (end && !end->has_filename()) {
        errno = EISDIR;
        end.reset();
    }
    if (!end) {
        return std::nullopt;
    }
    target.path = std::move(*end);
    if (!target.existing.isOpen()) {
        return target;
    }
    struct stat status {};
    if (::fstat(target.existing.get(), &status) != 0) {
        return std::nullopt;
    }
    // The links under /proc/self/fd lead to open files and their text is not always a path: the
    // system finds the file where reading by hand does not.
    const bool isOrdinary = S_ISREG(status.st_mode);
    target.canBeReplaced = isOrdinary && isStillAt(target.existing, target.path);
    target.isUncertain = isOrdinary && !target.canBeReplaced && !isStillAt(target.existing, path);
    return target;
}

/// The same, once more when the file was removed, moved or replaced meanwhile: whoever reads it
/// where it is now must not see it change.
std::optional<Target> examine(const std::filesystem::path& path) {
    std::optional<Target> target = examineOnce(path);
    for (int again = 1; target && target->isUncertain && again < mostLockAttempts; ++again) {
        target = examineOnce(path);
    }
    return target;
}

/// The mode with which a file is made that may hold the content at once.
mode_t modeOfNewFile(FileAccess access) {
    return access == FileAccess::OwnerOnly ? S_IRUSR | S_IWUSR : 0666;
}

/// Removes a temporary file whose writer is gone; whether it did.
bool removeAbandonedFile(const std::filesystem::path& path) {
    // For writing alone: not every file that is written may be read. Without blocking: somebody may
    // have put a pipe there.
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

bool isThere(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

/// Makes and locks a temporary file.
Temporary createTemporary(const std::filesystem::path& directory, mode_t mode) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path path = directory / nextTemporaryName();
        FileDescriptor file = openDescriptor(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
        if (!file.isOpen()) {
            return {};
        }
        // Until it is locked, another process can take it for abandoned: it locks and removes it.
        if (lockDescriptor(file, LockWait::No) != LockResult::Busy && isThere(path)) {
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

Temporary makeTemporary(const Target& target, FileAccess access) {
    const std::filesystem::path directory = target.path.parent_path();
    removeAbandonedReplacementsIn(directory);
    // Nobody may read it before it has the rights of what it replaces.
    const bool isNew = !target.existing.isOpen();
    Temporary temporary =
        createTemporary(directory, modeOfNewFile(isNew ? access : FileAccess::OwnerOnly));
    if (!temporary.file.isOpen()) {
        return temporary;
    }
    if ((!isNew && !copyAccessRights(target.existing, temporary.file, access)) ||
        (access == FileAccess::OwnerOnly && !makePrivate(temporary.file))) {
        removeTemporary(temporary.path, temporary.file);
        return {};
    }
    return temporary;
}

/// A file that was opened to be written in place. None when it is to hold a secret and somebody
/// else could read it.
FileDescriptor admitted(FileDescriptor file, FileAccess access) {
    if (file.isOpen() && access == FileAccess::OwnerOnly && !makePrivate(file)) {
        errno = EACCES;
        return {};
    }
    return file;
}

/// Opens what is written in place, or makes it, as `isMade` tells; no link, which somebody would
/// have put there only now.
FileDescriptor openOrMake(const std::filesystem::path& path, FileAccess access, bool& isMade) {
    FileDescriptor file = openDescriptor(path, O_WRONLY | O_NOFOLLOW);
    if (!file.isOpen() && errno == ENOENT) {
        // Not at once: in shared directories the system refuses to make what is there.
        file = openDescriptor(path, O_WRONLY | O_CREAT | O_EXCL, modeOfNewFile(access));
        isMade = file.isOpen();
    }
    return admitted(std::move(file), access);
}

/// Opens the target itself.
FileDescriptor openInPlace(Target target, FileAccess access, bool& isMade) {
    return target.existing.isOpen() ? admitted(std::move(target.existing), access)
                                    : openOrMake(target.path, access, isMade);
}

/// A file in memory, where no disk can lack the room for it. Not open where there is none.
FileDescriptor openInMemory() {
    return FileDescriptor(::memfd_create("mos", MFD_CLOEXEC));
}

bool isOrdinary(const FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) != 0 || S_ISREG(status.st_mode);
}

bool flush(const FileDescriptor& file) {
    if (::fsync(file.get()) == 0) {
        return true;
    }
    const int reason = errno;
    // Pipes and most devices have nothing to flush and say so.
    const bool hasNothing = !isOrdinary(file);
    errno = reason;
    return hasNothing && (reason == EINVAL || reason == EROFS || reason == ENOTSUP);
}

/// Whether the last rename failed for what the target or its file system is and not for what the
/// disk lacks: it is a mount point, or somebody else's file in a shared directory, or nothing can
/// be renamed there.
bool targetCannotBeMovedOver() {
    switch (errno) {
    case EACCES:
    case EBUSY:
    case ENOSYS:
    case ENOTSUP:
    case EPERM:
    case EXDEV:
        return true;
    default:
        return false;
    }
}

bool saysFull(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

/// Reserves the room for a file of `size` bytes, as far as its file system can. False, with the
/// file as it was, when there is none.
bool makeRoom(const FileDescriptor& file, off_t size) {
    const off_t before = ::lseek(file.get(), 0, SEEK_END);
    if (size == 0 || ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, size) == 0 ||
        !saysFull(errno)) {
        return ::lseek(file.get(), 0, SEEK_SET) == 0;
    }
    const int reason = errno;
    // Some file systems keep what they had reserved when the room ended.
    [[maybe_unused]] const bool isFree = ::ftruncate(file.get(), before) == 0;
    errno = reason;
    return false;
}

bool copyInPlace(const FileDescriptor& source, const FileDescriptor& output) {
    const off_t size = ::lseek(source.get(), 0, SEEK_END);
    if (size < 0 || !makeRoom(output, size) || ::lseek(source.get(), 0, SEEK_SET) != 0) {
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
    FileDescriptor file = openInPlace(std::move(*target), access, state->isTargetMade);
    if (!file.isOpen()) {
        state->fail();
        return;
    }
    // All of the content has to be there, and to fit, before an ordinary file is changed; pipes and
    // devices have no length, and say so.
    if (isOrdinary(file)) {
        state->output = openInMemory();
    }
    if (state->output.isOpen()) {
        state->inPlace = std::move(file);
    } else if (::ftruncate(file.get(), 0) == 0 || errno == EINVAL) {
        state->output = std::move(file);
    } else {
        state->fail();
    }
}

FileReplacement::~FileReplacement() {
    if (!state->temporary.empty()) {
        removeTemporary(state->temporary, state->output);
    }
    // Half of a file where there was none is worse than none.
    if (state->isTargetMade) {
        removeTemporary(state->target, state->inPlace.isOpen() ? state->inPlace : state->output);
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
    if (!state->inPlace.isOpen() && !flush(state->output)) {
        return state->fail();
    }
    if (!state->temporary.empty()) {
        if (::rename(state->temporary.c_str(), state->target.c_str()) == 0) {
            state->temporary.clear();
            return true;
        }
        if (!targetCannotBeMovedOver()) {
            return state->fail();
        }
        state->inPlace = openOrMake(state->target, state->access, state->isTargetMade);
        if (!state->inPlace.isOpen()) {
            return state->fail();
        }
    }
    if (state->inPlace.isOpen() && !copyInPlace(state->output, state->inPlace)) {
        return state->fail();
    }
    state->isTargetMade = false;
    return true;
}

std::error_code FileReplacement::error() const noexcept {
    return state->error;
}

bool removeAbandonedReplacement(const std::filesystem::path& file) {
    return isTemporaryName(file.filename()) && removeAbandonedFile(file);
}

} // namespace mos
