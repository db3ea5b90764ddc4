#include "system_answers_windows.h"

#include <windows.h>

#include <filesystem>
#include <string_view>

// The program's calls of the system go through pointers that the linker takes from here: what is
// documented of Windows and not so under Wine is added on their way.

namespace mos::test {
namespace {

Volume current = Volume::Usual;

template<typename Function>
Function* systemsOwn(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

BOOL WINAPI informationByHandle(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* buffer,
                                DWORD size) {
    static auto* const ask =
        systemsOwn<decltype(GetFileInformationByHandleEx)>("GetFileInformationByHandleEx");
    if (current == Volume::WithoutReparsePoints && kind == FileAttributeTagInfo) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return ask(file, kind, buffer, size);
}

DWORD WINAPI finalPathName(HANDLE file, wchar_t* buffer, DWORD size, DWORD form) {
    static auto* const ask =
        systemsOwn<decltype(GetFinalPathNameByHandleW)>("GetFinalPathNameByHandleW");
    if (current == Volume::BelowClosedDirectories && (form & FILE_NAME_OPENED) == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }
    return ask(file, buffer, size, form);
}

BOOL WINAPI setEndOfFile(HANDLE file) {
    static auto* const set = systemsOwn<decltype(SetEndOfFile)>("SetEndOfFile");
    if (current == Volume::Full) {
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    return set(file);
}

// Most machines are not set up to take long paths. Wine takes them.

bool isTooLong(const wchar_t* path) {
    const std::wstring_view text = path;
    return text.size() >= MAX_PATH && !text.starts_with(LR"(\\?\)");
}

HANDLE WINAPI createFile(const wchar_t* path, DWORD access, DWORD share,
                         SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                         HANDLE model) {
    static auto* const create = systemsOwn<decltype(CreateFileW)>("CreateFileW");
    if (isTooLong(path)) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    return create(path, access, share, security, disposition, flags, model);
}

BOOL WINAPI createDirectory(const wchar_t* path, SECURITY_ATTRIBUTES* security) {
    static auto* const create = systemsOwn<decltype(CreateDirectoryW)>("CreateDirectoryW");
    if (isTooLong(path)) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return FALSE;
    }
    return create(path, security);
}

DWORD WINAPI fileAttributes(const wchar_t* path) {
    static auto* const ask = systemsOwn<decltype(GetFileAttributesW)>("GetFileAttributesW");
    if (isTooLong(path)) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return INVALID_FILE_ATTRIBUTES;
    }
    return ask(path);
}

BOOL WINAPI deleteFile(const wchar_t* path) {
    static auto* const remove = systemsOwn<decltype(DeleteFileW)>("DeleteFileW");
    if (isTooLong(path)) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return FALSE;
    }
    return remove(path);
}

/// Opens the directory that something is moved to first, as Windows does and Wine does not.
BOOL WINAPI moveFile(const wchar_t* source, const wchar_t* target, DWORD flags) {
    static auto* const move = systemsOwn<decltype(MoveFileExW)>("MoveFileExW");
    if (isTooLong(source) || isTooLong(target)) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return FALSE;
    }
    const std::filesystem::path directory = std::filesystem::path(target).parent_path();
    const HANDLE opened = CreateFileW(directory.c_str(), FILE_ADD_SUBDIRECTORY | SYNCHRONIZE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return FALSE;
    }
    CloseHandle(opened);
    return move(source, target, flags);
}

} // namespace

SystemAnswers::SystemAnswers(Volume volume) noexcept {
    current = volume;
}

SystemAnswers::~SystemAnswers() {
    current = Volume::Usual;
}

} // namespace mos::test

extern "C" {
extern void* const __imp_CreateDirectoryW;
extern void* const __imp_CreateFileW;
extern void* const __imp_DeleteFileW;
extern void* const __imp_GetFileAttributesW;
extern void* const __imp_GetFileInformationByHandleEx;
extern void* const __imp_GetFinalPathNameByHandleW;
extern void* const __imp_MoveFileExW;
extern void* const __imp_SetEndOfFile;
void* const __imp_CreateDirectoryW = reinterpret_cast<void*>(mos::test::createDirectory);
void* const __imp_CreateFileW = reinterpret_cast<void*>(mos::test::createFile);
void* const __imp_DeleteFileW = reinterpret_cast<void*>(mos::test::deleteFile);
void* const __imp_GetFileAttributesW = reinterpret_cast<void*>(mos::test::fileAttributes);
void* const __imp_GetFileInformationByHandleEx =
    reinterpret_cast<void*>(mos::test::informationByHandle);
void* const __imp_GetFinalPathNameByHandleW = reinterpret_cast<void*>(mos::test::finalPathName);
void* const __imp_MoveFileExW = reinterpret_cast<void*>(mos::test::moveFile);
void* const __imp_SetEndOfFile = reinterpret_cast<void*>(mos::test::setEndOfFile);
}
