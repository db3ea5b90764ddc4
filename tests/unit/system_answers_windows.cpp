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

bool isTooLong(const wchar_t* path) {
    const std::wstring_view text = path;
    return text.size() >= MAX_PATH && !text.starts_with(LR"(\\?\)");
}

/// Takes no long paths, as most machines are set up, and opens the directory that something is
/// moved to first. Wine does neither.
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
extern void* const __imp_GetFileInformationByHandleEx;
extern void* const __imp_GetFinalPathNameByHandleW;
extern void* const __imp_MoveFileExW;
extern void* const __imp_SetEndOfFile;
void* const __imp_GetFileInformationByHandleEx =
    reinterpret_cast<void*>(mos::test::informationByHandle);
void* const __imp_GetFinalPathNameByHandleW = reinterpret_cast<void*>(mos::test::finalPathName);
void* const __imp_MoveFileExW = reinterpret_cast<void*>(mos::test::moveFile);
void* const __imp_SetEndOfFile = reinterpret_cast<void*>(mos::test::setEndOfFile);
}
