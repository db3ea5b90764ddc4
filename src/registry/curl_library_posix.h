#pragma once

#include <curl/curl.h>

namespace mos {

/// The functions of libcurl that the transport calls, and what all its calls share.
struct CurlLibrary {
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_setopt) easySetopt;
    decltype(&curl_easy_getinfo) easyGetinfo;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_slist_append) slistAppend;
    decltype(&curl_slist_free_all) slistFreeAll;
    decltype(&curl_multi_init) multiInit;
    decltype(&curl_multi_cleanup) multiCleanup;
    decltype(&curl_multi_add_handle) multiAddHandle;
    decltype(&curl_multi_remove_handle) multiRemoveHandle;
    decltype(&curl_multi_perform) multiPerform;
    decltype(&curl_multi_poll) multiPoll;
    decltype(&curl_multi_info_read) multiInfoRead;
    CURLSH* share; ///< TLS sessions of this process
};

/// The library, loaded and set up by the first call; null when this machine has none that serves.
/// It stays loaded, and its connections open, until the process ends.
[[nodiscard]] const CurlLibrary* curlLibrary();

} // namespace mos
