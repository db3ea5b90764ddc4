#pragma once

#include <string>
#include <string_view>

#include "platform/download_file.h"
#include "registry/http_response.h"

namespace mos {

/// One request: everything that is sent.
struct HttpRequest {
    std::string method = "GET";
    std::string url;
    std::string body;        ///< may be empty
    std::string contentType; ///< no Content-Type line when empty
    std::string token;       ///< no token lines when empty
};

/// Blocking HTTP/1.1. Redirects are followed, ten at most. Failures are worded by the functions of
/// transport_messages.h.
class IHttpTransport {
public:
    virtual ~IHttpTransport() = default;

    /// Sends a request and returns the whole response. Statuses are not judged.
    [[nodiscard]] virtual HttpResponse request(const HttpRequest& request) = 0;

    /// Streams the body of a GET into `destination`. Its parent directories are created and it is
    /// opened only after status 200. False with the reason in `error`.
    [[nodiscard]] virtual bool download(const std::string& url, DownloadFile& destination,
                                        std::string& error) = 0;
};

/// The transport over the client library of this platform, which is loaded at the first request.
[[nodiscard]] IHttpTransport& httpTransport();

} // namespace mos
