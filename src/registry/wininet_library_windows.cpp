#include "registry/wininet_library_windows.h"

#include <optional>

namespace mos {
namespace {

/// Finds the function `name` in a loaded library; false when the library lacks it.
template<typename Function>
bool find(HMODULE library, const char* name, Function& function) {
    // By way of a pointer without type: the compiler rightly distrusts the direct cast.
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    return function != nullptr;
}

std::optional<WininetLibrary> load() {
    // A library of that name in the current directory or beside the program is none of ours.
    const HMODULE library = LoadLibraryExA("wininet.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    WininetLibrary wininet{};
    if (library == nullptr || !find(library, "InternetCrackUrlA", wininet.crackUrl) ||
        !find(library, "InternetOpenA", wininet.open) ||
        !find(library, "InternetSetOptionA", wininet.setOption) ||
        !find(library, "InternetConnectA", wininet.connect) ||
        !find(library, "HttpOpenRequestA", wininet.openRequest) ||
        !find(library, "HttpSendRequestA", wininet.sendRequest) ||
        !find(library, "HttpQueryInfoA", wininet.queryInfo) ||
        !find(library, "InternetReadFile", wininet.readFile) ||
        !find(library, "InternetCloseHandle", wininet.closeHandle)) {
        return std::nullopt;
    }
    return wininet;
}

} // namespace

const WininetLibrary* wininetLibrary() {
    static const std::optional<WininetLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace mos
