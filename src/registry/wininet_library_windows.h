#pragma once

#include <windows.h>
#include <wininet.h>

namespace mos {

/// The functions of WinINet that the transport calls.
struct WininetLibrary {
    decltype(&InternetCrackUrlA) crackUrl;
    decltype(&InternetOpenA) open;
    decltype(&InternetSetOptionA) setOption;
    decltype(&InternetConnectA) connect;
    decltype(&HttpOpenRequestA) openRequest;
    decltype(&HttpSendRequestA) sendRequest;
    decltype(&HttpQueryInfoA) queryInfo;
    decltype(&InternetReadFile) readFile;
    decltype(&InternetCloseHandle) closeHandle;
};

/// The library of the system directory, loaded by the first call; null when this machine has none
/// that serves. It stays loaded, and its connections open, until the process ends.
[[nodiscard]] const WininetLibrary* wininetLibrary();

} // namespace mos
