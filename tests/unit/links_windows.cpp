#include "links_windows.h"

#include <windows.h>

#include <winioctl.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace mos::test {
namespace {

/// The head of a junction's data; the substitute name, its zero, an empty print name and its zero
/// follow.
struct JunctionHeader {
    ULONG tag = IO_REPARSE_TAG_MOUNT_POINT;
    USHORT dataLength = 0;
    USHORT reserved = 0;
    USHORT substituteNameOffset = 0;
    USHORT substituteNameLength = 0;
    USHORT printNameOffset = 0;
    USHORT printNameLength = 0;
};
constexpr std::size_t lengthFieldsSize = 8; // tag, data length and reserved do not count

bool isReparsePoint(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// The path below Wine, "/tmp/x" for "Z:\\tmp\\x"; empty on Windows.
std::string pathBelowWine(const std::filesystem::path& path) {
    using Ask = char* (*)(const wchar_t*);
    // The two steps keep the compiler from seeing two kinds of function in one cast.
    const auto address = reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name"));
    const auto ask = reinterpret_cast<Ask>(address);
    char* const text = ask == nullptr ? nullptr : ask(path.c_str());
    std::string copy = text == nullptr ? std::string() : std::string(text);
    if (text != nullptr) {
        HeapFree(GetProcessHeap(), 0, text);
    }
    return copy;
}

/// Runs a program of the system below Wine until `path` is a link, or is none. It may go on after
/// the command that starts it has ended.
void runBelowWine(const std::string& command, const std::filesystem::path& path, bool isLink) {
    constexpr int mostWaits = 1000;
    std::system(("start /wait /unix /bin/" + command).c_str());
    for (int wait = 0; wait < mostWaits && isReparsePoint(path) != isLink; ++wait) {
        Sleep(10);
    }
}

} // namespace

bool makeJunction(const std::filesystem::path& target, const std::filesystem::path& link) {
    const std::wstring name = LR"(\??\)" + target.native();
    JunctionHeader header;
    header.substituteNameLength = static_cast<USHORT>(name.size() * sizeof(wchar_t));
    header.printNameOffset = static_cast<USHORT>(header.substituteNameLength + sizeof(wchar_t));
    std::vector<std::byte> data(sizeof header + header.printNameOffset + sizeof(wchar_t));
    header.dataLength = static_cast<USHORT>(data.size() - lengthFieldsSize);
    std::memcpy(data.data(), &header, sizeof header);
    std::memcpy(data.data() + sizeof header, name.data(), header.substituteNameLength);

    CreateDirectoryW(link.c_str(), nullptr);
    const HANDLE handle =
        CreateFileW(link.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    DWORD length = 0;
    const bool made =
        DeviceIoControl(handle, FSCTL_SET_REPARSE_POINT, data.data(),
                        static_cast<DWORD>(data.size()), nullptr, 0, &length, nullptr) != FALSE;
    CloseHandle(handle);
    if (!made) {
        RemoveDirectoryW(link.c_str());
    }
    return made;
}

bool makeSymbolicLink(const std::filesystem::path& target, const std::filesystem::path& link) {
    const std::filesystem::path seenFromLink = link.parent_path() / target;
    const DWORD attributes = GetFileAttributesW(seenFromLink.c_str());
    const bool isDirectory =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const DWORD flags = SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE |
                        (isDirectory ? SYMBOLIC_LINK_FLAG_DIRECTORY : 0);
    // Wine reports success and makes nothing.
    return CreateSymbolicLinkW(link.c_str(), target.c_str(), flags) != FALSE &&
           isReparsePoint(link);
}

DirectoryLink::DirectoryLink(const std::filesystem::path& target, std::filesystem::path link)
    : path(std::move(link)) {
    made = makeJunction(target, path);
    const std::string parentBelow = made ? std::string() : pathBelowWine(path.parent_path());
    if (parentBelow.empty()) {
        return;
    }
    pathBelow = parentBelow + "/" + path.filename().string();
    runBelowWine("ln -s \"" + pathBelowWine(target) + "\" \"" + pathBelow + "\"", path, true);
    made = isReparsePoint(path);
}

DirectoryLink::~DirectoryLink() {
    if (!pathBelow.empty()) {
        runBelowWine("rm -f \"" + pathBelow + "\"", path, false);
    }
}

} // namespace mos::test
