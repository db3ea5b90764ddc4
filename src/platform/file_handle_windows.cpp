#include "platform/file_handle_windows.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/full_path_windows.h"
#include "platform/patience_windows.h"

namespace mos {
namespace {

// Locks on ranges of a file bind everybody who reads or writes there. Behind the last byte that a
// file can have nobody does.
constexpr DWORD lockOffsetHigh = 0x7FFFFFFF;

OVERLAPPED positionOf(std::uint64_t offset) {
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32U);
    return position;
}

/// The part of a buffer that one call takes.
DWORD lengthForOneCall(std::size_t size) {
    constexpr std::size_t most = std::size_t{1} << 30U;
    return static_cast<DWORD>(std::min(size, most));
}

/// Whether `path` has a piece that no file system takes. What the system says of such a name is not
/// the same everywhere.
bool hasTooLongPiece(const std::filesystem::path& path) {
    constexpr std::size_t longestPiece = 255;
    return std::ranges::any_of(path, [](const std::filesystem::path& piece) {
        return piece.native().size() > longestPiece;
    });
}

bool sameFile(const BY_HANDLE_FILE_INFORMATION& one, const BY_HANDLE_FILE_INFORMATION& other) {
    return one.dwVolumeSerialNumber == other.dwVolumeSerialNumber &&
           one.nFileIndexHigh == other.nFileIndexHigh && one.nFileIndexLow == other.nFileIndexLow;
}

} // namespace

FileHandle::~FileHandle() {
    close();
}

FileHandle::FileHandle(FileHandle&& other) noexcept
    : handle(std::exchange(other.handle, INVALID_HANDLE_VALUE)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    FileHandle taken(std::move(other));
    std::swap(handle, taken.handle);
    return *this;
}

bool FileHandle::close() noexcept {
    const HANDLE closing = std::exchange(handle, INVALID_HANDLE_VALUE);
    return closing == INVALID_HANDLE_VALUE || CloseHandle(closing) != FALSE;
}

FileHandle openHandle(const std::filesystem::path& path, const OpenOptions& options) {
    if (hasTooLongPiece(path)) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return {};
    }
    const std::wstring text = systemPath(path);
    Patience patience;
    for (;;) {
        FileHandle file(CreateFileW(text.c_str(), options.access, options.share, nullptr,
                                    options.disposition, options.flags, nullptr));
        if (file.isOpen()) {
            return file;
        }
        const DWORD error = GetLastError();
        const bool passes = error == ERROR_SHARING_VIOLATION ||
                            (error == ERROR_ACCESS_DENIED && isBeingDeleted(path));
        if (!passes || !patience.waits()) {
            SetLastError(error);
            return file;
        }
    }
}

FileHandle openForQuery(const std::filesystem::path& path) {
    return openHandle(path, {.flags = FILE_FLAG_BACKUP_SEMANTICS});
}

FileHandle openLinkForQuery(const std::filesystem::path& path) {
    return openHandle(path, {.flags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT});
}

bool isBeingDeleted(const std::filesystem::path& path) {
    return GetFileAttributesW(systemPath(path).c_str()) == INVALID_FILE_ATTRIBUTES &&
           GetLastError() == ERROR_ACCESS_DENIED;
}

std::optional<FILE_ATTRIBUTE_TAG_INFO> attributesOf(const FileHandle& file) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (GetFileInformationByHandleEx(file.get(), FileAttributeTagInfo, &info, sizeof info) !=
        FALSE) {
        return info;
    }
    // File systems without reparse points do not know the question.
    const DWORD error = GetLastError();
    FILE_BASIC_INFO basic{};
    if ((error == ERROR_INVALID_PARAMETER || error == ERROR_NOT_SUPPORTED ||
         error == ERROR_INVALID_FUNCTION) &&
        GetFileInformationByHandleEx(file.get(), FileBasicInfo, &basic, sizeof basic) != FALSE) {
        info.FileAttributes = basic.FileAttributes;
        return info;
    }
    return std::nullopt;
}

bool isDiskFile(const FileHandle& file) {
    return GetFileType(file.get()) == FILE_TYPE_DISK;
}

bool writeAllAt(const FileHandle& file, std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        OVERLAPPED position = positionOf(offset);
        DWORD written = 0;
        if (WriteFile(file.get(), bytes.data(), lengthForOneCall(bytes.size()), &written,
                      &position) == FALSE) {
            return false;
        }
        bytes = bytes.subspan(written);
        offset += written;
    }
    return true;
}

std::int64_t readSomeAt(const FileHandle& file, std::uint64_t offset, std::span<std::byte> buffer) {
    OVERLAPPED position = positionOf(offset);
    DWORD length = 0;
    if (ReadFile(file.get(), buffer.data(), lengthForOneCall(buffer.size()), &length, &position) ==
        FALSE) {
        const DWORD error = GetLastError();
        return error == ERROR_HANDLE_EOF || error == ERROR_BROKEN_PIPE ? 0 : -1;
    }
    return length;
}

bool setLength(const FileHandle& file, std::uint64_t length) {
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(length);
    return SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) != FALSE &&
           SetEndOfFile(file.get()) != FALSE;
}

std::optional<std::uint64_t> lengthOf(const FileHandle& file) {
    LARGE_INTEGER length{};
    if (GetFileSizeEx(file.get(), &length) == FALSE) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(length.QuadPart);
}

LockResult lockHandle(const FileHandle& file, LockWait wait) {
    OVERLAPPED range{};
    range.OffsetHigh = lockOffsetHigh;
    const DWORD patient = wait == LockWait::Yes ? 0 : LOCKFILE_FAIL_IMMEDIATELY;
    if (LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK | patient, 0, 1, 0, &range) != FALSE) {
        return LockResult::Locked;
    }
    const DWORD error = GetLastError();
    return error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING ? LockResult::Busy
                                                                      : LockResult::Unsupported;
}

bool isStillAt(const FileHandle& file, const std::filesystem::path& path) {
    // Not openForQuery, which would wait for a deleted file to go.
    const FileHandle named(CreateFileW(systemPath(path).c_str(), 0, shareEverything, nullptr,
                                       OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION open{};
    BY_HANDLE_FILE_INFORMATION found{};
    FILE_STANDARD_INFO standard{};
    return named.isOpen() && GetFileInformationByHandle(file.get(), &open) != FALSE &&
           GetFileInformationByHandle(named.get(), &found) != FALSE && sameFile(open, found) &&
           GetFileInformationByHandleEx(file.get(), FileStandardInfo, &standard, sizeof standard) !=
               FALSE &&
           standard.DeletePending == FALSE;
}

bool removeSharedFile(const std::filesystem::path& path) {
    std::filesystem::path aside = path;
    aside.replace_filename(L"." + path.filename().native() + L"." +
                           std::to_wstring(GetCurrentProcessId()) + L"-" +
                           std::to_wstring(GetCurrentThreadId()) + L".mos-old");
    bool isAside = false;
    return succeedsInTime([from = systemPath(path), to = systemPath(aside), &isAside] {
        isAside =
            isAside || MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
        return DeleteFileW(isAside ? to.c_str() : from.c_str()) != FALSE;
    });
}

std::error_code lastError() {
    const DWORD error = GetLastError();
    const std::error_code code(static_cast<int>(error), std::system_category());
    switch (error) {
    case ERROR_INVALID_FUNCTION:
        return std::make_error_code(std::errc::function_not_supported);
    // A server or a disk that is at fault says nothing of the name.
    case ERROR_BAD_NETPATH:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_NETNAME_DELETED:
    case ERROR_BAD_NET_NAME:
    case ERROR_FILE_CORRUPT:
        return code;
    default:
        break;
    }
    const std::error_condition condition = code.default_error_condition();
    return condition.category() == std::generic_category()
               ? std::error_code(condition.value(), std::generic_category())
               : code;
}

bool saysNotFound(DWORD error) {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_INVALID_DRIVE:
    case ERROR_NOT_READY:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_DIRECTORY:
        return true;
    default:
        return false;
    }
}

} // namespace mos
