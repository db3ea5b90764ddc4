#include <windows.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/access_rights_windows.h"
#include "platform/file_handle_windows.h"
#include "platform/file_replacement.h"
#include "platform/full_path_windows.h"
#include "platform/patience_windows.h"
#include "platform/plain_file_name.h"
#include "platform/resolved_path.h"
#include "platform/temporary_name.h"

// How a file is replaced:
//
// 1. The target is opened for writing, without a change, to learn whether it may be written at all,
//    what it is, its attributes and its access rights. Its path is then resolved, so that the new
//    file can be made beside the file that links lead to.
// 2. The temporary file stands there under a name that nobody else ever gives, so that nothing else
//    is moved or removed in its place. A lock on its handle tells that its writer lives: what
//    killed runs left in the directory is removed first.
// 3. commit() flushes the temporary file and renames it over the target.
//
// Whatever is no file on a disk, or stands where no temporary file may be made or moved, is written
// in place. What else keeps the temporary file from being made (room, open files, a server that
// does not answer) might stop the writing of the target halfway as well: then nothing is written.

namespace mos {

struct FileReplacement::State {
    std::filesystem::path target;
    std::filesystem::path temporary; ///< empty while the target is written in place
    FileHandle output;
    FileHandle inPlace; ///< the target, if it is written when all of `output` is there
    std::uint64_t written = 0;
    bool isTargetMade = false; ///< by this writer, who has not written it whole
    std::error_code error;     ///< of the operation that failed

    bool fail() {
        error = lastError();
        return false;
    }
};

namespace {

/// What is known of the target before it is replaced.
struct Target {
    std::filesystem::path path; ///< where links lead
    FileHandle existing;        ///< open for writing; not open when nothing is there yet
};

constexpr DWORD keptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                 FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

/// Nothing, with the reason in GetLastError(), when the file cannot be written.
std::optional<Target> examine(const std::filesystem::path& path) {
    if (!isPlainFileName(path.filename().string()) || !path.has_filename()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return std::nullopt;
    }
    Target target;
    target.existing = openHandle(path, {.access = GENERIC_WRITE | READ_CONTROL});
    if (!target.existing.isOpen() && !saysNotFound(GetLastError())) {
        return std::nullopt;
    }
    auto resolved = resolvedPath(path);
    if (!resolved) {
        SetLastError(ERROR_CANT_RESOLVE_FILENAME);
        return std::nullopt;
    }
    target.path = std::move(*resolved);
    return target;
}

/// A temporary file beside the target. Not open when there can be none, for which GetLastError()
/// has the reason.
struct Temporary {
    std::filesystem::path path;
    FileHandle file;
};

/// Removes a temporary file of this process. What must stay becomes empty: it may hold a secret.
/// Leaves GetLastError() as it is.
void removeTemporary(const std::filesystem::path& path, const FileHandle& file) {
    const DWORD reason = GetLastError();
    if (!succeedsInTime([&path] { return DeleteFileW(systemPath(path).c_str()) != FALSE; })) {
        static_cast<void>(setLength(file, 0));
    }
    SetLastError(reason);
}

/// Removes a temporary file whose writer is gone; whether it did.
bool removeAbandonedFile(const std::filesystem::path& path) {
    // Not openHandle, which would wait for somebody who shares nothing.
    const FileHandle file(CreateFileW(systemPath(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                      shareEverything, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    // Without locks nobody can tell whether the writer lives: better to leave it.
    return file.isOpen() && lockHandle(file, LockWait::No) == LockResult::Locked &&
           DeleteFileW(systemPath(path).c_str()) != FALSE;
}

std::string nextTemporaryName() {
    const auto moment = std::chrono::steady_clock::now().time_since_epoch();
    return temporaryName(GetCurrentProcessId(), static_cast<std::uint64_t>(moment.count()));
}

/// Makes an empty file to be read and written; one whose rights can be changed, too, where the
/// system lets that be.
FileHandle makeFile(const std::filesystem::path& path, DWORD attributes) {
    OpenOptions options{.access = GENERIC_READ | GENERIC_WRITE | READ_CONTROL | WRITE_DAC,
                        .disposition = CREATE_NEW,
                        .flags = attributes};
    FileHandle file = openHandle(path, options);
    if (!file.isOpen() && GetLastError() == ERROR_ACCESS_DENIED) {
        options.access &= ~static_cast<DWORD>(WRITE_DAC);
        file = openHandle(path, options);
    }
    return file;
}

/// The attributes that a file has to be made with to replace `existing`, if that is open: what is
/// encrypted must not become plain.
DWORD attributesOfNewFile(const FileHandle& existing) {
    const auto info = existing.isOpen() ? attributesOf(existing) : std::nullopt;
    const DWORD encrypted = info ? info->FileAttributes & FILE_ATTRIBUTE_ENCRYPTED : 0;
    return encrypted != 0 ? encrypted : FILE_ATTRIBUTE_NORMAL;
}

/// Makes and locks a temporary file, which is empty.
Temporary createTemporary(const std::filesystem::path& directory, DWORD attributes) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        std::filesystem::path path = directory / nextTemporaryName();
        FileHandle file = makeFile(path, attributes);
        if (!file.isOpen()) {
            return {};
        }
        // Until it is locked, another process can take it for abandoned: it locks and removes it.
        if (lockHandle(file, LockWait::No) != LockResult::Busy && isStillAt(file, path)) {
            return {std::move(path), std::move(file)};
        }
        static_cast<void>(DeleteFileW(systemPath(path).c_str()));
    }
    SetLastError(ERROR_RETRY);
    return {};
}

/// Whether the last call failed for what the target's directory forbids and not for what the system
/// lacks.
bool directoryForbidsIt() {
    switch (GetLastError()) {
    case ERROR_ACCESS_DENIED:
    case ERROR_CALL_NOT_IMPLEMENTED:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_INVALID_FUNCTION:
    case ERROR_NOT_SUPPORTED:
    case ERROR_PRIVILEGE_NOT_HELD:
    case ERROR_WRITE_PROTECT:
        return true;
    default:
        return false;
    }
}

/// Gives `file` the attributes of `model` that are settings of its user.
bool copyAttributes(const FileHandle& model, const FileHandle& file) {
    FILE_BASIC_INFO info{};
    if (GetFileInformationByHandleEx(model.get(), FileBasicInfo, &info, sizeof info) == FALSE) {
        return false;
    }
    FILE_BASIC_INFO wanted{}; // times that are 0 stay
    wanted.FileAttributes = info.FileAttributes & keptAttributes;
    if (wanted.FileAttributes == 0) {
        wanted.FileAttributes = FILE_ATTRIBUTE_NORMAL;
    }
    return SetFileInformationByHandle(file.get(), FileBasicInfo, &wanted, sizeof wanted) != FALSE;
}

/// Gives the temporary file the attributes and rights that the target shall have.
bool prepareTemporary(const FileHandle& file, const Target& target) {
    return !target.existing.isOpen() ||
           (copyAttributes(target.existing, file) && copyAccessRights(target.existing, file));
}

Temporary makeTemporary(const Target& target) {
    const std::filesystem::path directory = target.path.parent_path();
    removeAbandonedReplacementsIn(directory);
    Temporary temporary = createTemporary(directory, attributesOfNewFile(target.existing));
    if (temporary.file.isOpen() && !prepareTemporary(temporary.file, target)) {
        removeTemporary(temporary.path, temporary.file);
        return {};
    }
    return temporary;
}

/// Opens what is written in place, or makes it, as `isMade` tells.
FileHandle openOrMake(const std::filesystem::path& path, bool& isMade) {
    FileHandle file = openHandle(path, {.access = GENERIC_WRITE});
    if (!file.isOpen() && saysNotFound(GetLastError())) {
        file = openHandle(path, {.access = GENERIC_WRITE, .disposition = CREATE_NEW});
        isMade = file.isOpen();
    }
    return file;
}

/// Opens the target itself, empty.
FileHandle openInPlace(Target target, bool& isMade) {
    FileHandle file =
        target.existing.isOpen() ? std::move(target.existing) : openOrMake(target.path, isMade);
    if (file.isOpen() && isDiskFile(file) && !setLength(file, 0)) {
        return {};
    }
    return file;
}

bool flush(const FileHandle& file) {
    // What is no file on a disk has nothing to flush and says so.
    return FlushFileBuffers(file.get()) != FALSE || !isDiskFile(file);
}

/// Whether the last rename failed for what the target or its file system is and not for what the
/// disk lacks.
bool targetCannotBeMovedOver() {
    switch (const DWORD error = GetLastError()) {
    case ERROR_CALL_NOT_IMPLEMENTED:
    case ERROR_INVALID_FUNCTION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_NOT_SAME_DEVICE:
    case ERROR_NOT_SUPPORTED:
    case ERROR_USER_MAPPED_FILE:
        return true;
    default:
        return mayBeScanner(error);
    }
}

/// Lengthens a file that is shorter than `length` bytes, so that the disk has room for them. False,
/// with the file as it was, when it has none.
bool makeRoom(const FileHandle& file, std::uint64_t length) {
    const auto before = lengthOf(file);
    if (!before || *before >= length || setLength(file, length)) {
        return before.has_value();
    }
    const DWORD reason = GetLastError();
    static_cast<void>(setLength(file, *before));
    SetLastError(reason);
    return false;
}

bool copyInPlace(const FileHandle& source, std::uint64_t size, const FileHandle& output) {
    if (!makeRoom(output, size)) {
        return false;
    }
    std::array<std::byte, 65536> buffer{};
    std::uint64_t offset = 0;
    for (;;) {
        const std::int64_t length = readSomeAt(source, offset, buffer);
        if (length < 0) {
            return false;
        }
        if (length == 0) {
            return setLength(output, size) && flush(output);
        }
        const auto bytes = std::span(buffer).first(static_cast<std::size_t>(length));
        if (!writeAllAt(output, offset, bytes)) {
            return false;
        }
        offset += bytes.size();
    }
}

} // namespace

FileReplacement::FileReplacement(const std::filesystem::path& path, FileAccess /*access*/)
    : state(std::make_unique<State>()) {
    // Who may read a new file is settled by its directory here; that of a user is the user's own.
    std::optional<Target> target = examine(path);
    if (!target) {
        state->fail();
        return;
    }
    state->target = target->path;
    if (!target->existing.isOpen() || isDiskFile(target->existing)) {
        Temporary temporary = makeTemporary(*target);
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
    state->output = openInPlace(std::move(*target), state->isTargetMade);
    if (!state->output.isOpen()) {
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
    if (!writeAllAt(state->output, state->written, bytes)) {
        return state->fail();
    }
    state->written += bytes.size();
    return true;
}

bool FileReplacement::commit() {
    if (!isOpen() || state->error) {
        return false;
    }
    if (!flush(state->output)) {
        return state->fail();
    }
    if (!state->temporary.empty()) {
        if (succeedsInTime([this] {
                return MoveFileExW(systemPath(state->temporary).c_str(),
                                   systemPath(state->target).c_str(),
                                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
            })) {
            state->temporary.clear();
            return true;
        }
        if (!targetCannotBeMovedOver()) {
            return state->fail();
        }
        state->inPlace = openOrMake(state->target, state->isTargetMade);
        if (!state->inPlace.isOpen() ||
            !copyInPlace(state->output, state->written, state->inPlace)) {
            return state->fail();
        }
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
