#pragma once

#include "registry/curl_library_posix.h"

namespace mos {

/// What the next transfer is done with: open connections and looked-up names of this process. Null
/// when there is no memory for it.
///
/// When something has come on an open connection that nobody asked for, all of them are closed
/// first: it would be taken for the reply to the next request.
[[nodiscard]] CURLM* curlConnections(const CurlLibrary& curl);

/// Has the connections that `handle` opens and closes known here. Every handle needs it.
void watchConnections(const CurlLibrary& curl, CURL* handle);

} // namespace mos
