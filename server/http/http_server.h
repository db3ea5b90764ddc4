#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "server/api/registry_api.h"
#include "server/log/access_log.h"

namespace mos::server {

/// What one client may take of the server.
struct HttpLimits {
    std::size_t headerBytes = std::size_t{16} * 1024;
    std::chrono::seconds headerTime{15};   ///< for a whole request header, and between requests
    std::chrono::seconds transferTime{30}; ///< for a body, plus what slowestRate gives its bytes
    std::uint64_t slowestRate = std::uint64_t{8} * 1024; ///< bytes a second
    std::size_t connections = 1024; ///< beyond that, the one that waits longest is closed
    unsigned threads = 0;           ///< that read and write; 0 for one a processor, 8 at most
    std::chrono::seconds grace{30}; ///< for the requests in flight when the server is to end
    bool isBehindProxy = false;     ///< the client's address stands in X-Forwarded-For
};

/// Serves the registry's API over HTTP/1.1, on threads of its own.
class HttpServer {
public:
    /// `address` is a numeric host and a port, such as "127.0.0.1:8080" or "[::1]:0"; port 0 lets
    /// the system choose. Throws StoreError when nothing can be served there. `api` and `log` are
    /// borrowed.
    HttpServer(RegistryApi& api, AccessLog& log, const HttpLimits& limits,
               const std::string& address);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Where it listens, such as "http://127.0.0.1:8080".
    [[nodiscard]] std::string url() const;

    /// Takes no more connections, ends those that wait, and returns when the requests in flight are
    /// answered or the grace is over.
    void stop();

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace mos::server
