#pragma once

#include <cstdint>
#include <mutex>
#include <string>

namespace mos::server {

/// What is noted of one request. Never a token, a password or a body.
struct AccessEntry {
    std::string address;
    std::string method = "-"; ///< "-" when the request could not be read
    std::string target = "-";
    std::string account; ///< empty when nobody was recognised
    unsigned status = 0;
    std::uint64_t received = 0; ///< bytes of the body
    std::uint64_t sent = 0;     ///< bytes of the body
    double milliseconds = 0;
};

/// The line of an entry: one JSON object, with its line feed.
[[nodiscard]] std::string accessLine(const AccessEntry& entry, const std::string& time);

/// Writes a line for each request to a file that grows, or to standard output. May be used by
/// several threads.
class AccessLog {
public:
    /// `target` is a path, "-" for standard output or "off". Throws StoreError when the file cannot
    /// be opened.
    explicit AccessLog(std::string target);
    ~AccessLog();
    AccessLog(const AccessLog&) = delete;
    AccessLog& operator=(const AccessLog&) = delete;

    void write(const AccessEntry& entry);

    /// Opens the file anew, after somebody has moved it away. The old one is kept when that fails.
    void reopen();

private:
    std::string targetName;
    std::mutex mutex;
    int descriptor = -1;
};

} // namespace mos::server
