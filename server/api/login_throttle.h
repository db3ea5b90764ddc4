#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <unordered_map>

namespace mos::server {

/// Slows log-ins down after failures, for a user name and for an address: the first five failures
/// are free, then each doubles the wait, from one second up to one minute. A success forgets the
/// failures of the name, ten quiet minutes forget everything. Remembers at most 20,000 keys. May be
/// used by several threads.
class LoginThrottle {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// How long the next attempt for `key` has to wait; zero when it may be made. An attempt that
    /// may be made counts as a failure until succeeded() says otherwise, so that many at once are
    /// no way around.
    [[nodiscard]] std::chrono::seconds attempt(const std::string& key, Time now);

    /// The last attempt for `key` was no failure.
    void succeeded(const std::string& key);

private:
    struct Failures {
        int count = 0;
        Time last;
    };

    void forgetOld(Time now);

    std::mutex mutex;
    std::unordered_map<std::string, Failures> failures;
};

} // namespace mos::server
