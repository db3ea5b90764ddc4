#pragma once

#include <string>

namespace mos {

/// What came of a request. With a non-empty `error` no response was obtained.
struct HttpResponse {
    int status = 0;    ///< HTTP status code; 0 without a response
    std::string body;  ///< whole response body
    std::string error; ///< empty when a response arrived, whatever its status
};

} // namespace mos
