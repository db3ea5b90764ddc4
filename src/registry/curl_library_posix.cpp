#include "registry/curl_library_posix.h"

#include <array>
#include <optional>

#include <dlfcn.h>

namespace mos {
namespace {

/// Finds the function `name` in an open library; false when the library lacks it.
template<typename Function>
bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

CURLSH* makeShare(void* library) {
    decltype(&curl_share_init) shareInit = nullptr;
    decltype(&curl_share_setopt) shareSetopt = nullptr;
    if (!find(library, "curl_share_init", shareInit) ||
        !find(library, "curl_share_setopt", shareSetopt)) {
        return nullptr;
    }
    CURLSH* const share = shareInit();
    if (share == nullptr) {
        return nullptr;
    }
    // What the library at hand cannot share is made anew by every call.
    static_cast<void>(shareSetopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION));
    return share;
}

bool findFunctions(void* library, CurlLibrary& curl) {
    return find(library, "curl_easy_init", curl.easyInit) &&
           find(library, "curl_easy_setopt", curl.easySetopt) &&
           find(library, "curl_easy_getinfo", curl.easyGetinfo) &&
           find(library, "curl_easy_cleanup", curl.easyCleanup) &&
           find(library, "curl_slist_append", curl.slistAppend) &&
           find(library, "curl_slist_free_all", curl.slistFreeAll) &&
           find(library, "curl_multi_init", curl.multiInit) &&
           find(library, "curl_multi_cleanup", curl.multiCleanup) &&
           find(library, "curl_multi_add_handle", curl.multiAddHandle) &&
           find(library, "curl_multi_remove_handle", curl.multiRemoveHandle) &&
           find(library, "curl_multi_perform", curl.multiPerform) &&
           find(library, "curl_multi_poll", curl.multiPoll) &&
           find(library, "curl_multi_info_read", curl.multiInfoRead);
}

std::optional<CurlLibrary> setUp(void* library) {
    CurlLibrary curl{};
    decltype(&curl_global_init) globalInit = nullptr;
    if (!findFunctions(library, curl) || !find(library, "curl_global_init", globalInit) ||
        globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        return std::nullopt;
    }
    curl.share = makeShare(library);
    return curl.share == nullptr ? std::nullopt : std::optional(curl);
}

std::optional<CurlLibrary> load() {
    constexpr std::array names{"libcurl.so.4", "libcurl-gnutls.so.4"};
    for (const char* const name : names) {
        void* const library = dlopen(name, RTLD_LAZY | RTLD_LOCAL);
        if (library == nullptr) {
            continue;
        }
        if (auto curl = setUp(library)) {
            return curl;
        }
    }
    return std::nullopt;
}

} // namespace

const CurlLibrary* curlLibrary() {
    static const std::optional<CurlLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace mos
