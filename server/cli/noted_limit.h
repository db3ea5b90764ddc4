#pragma once

#include <sys/resource.h>

namespace mos::server {

/// Notes how many files this process may have open, before it lets itself have more.
void noteOpenFileLimit() noexcept;

/// While it lives, this process may have as many files open as was noted, and so may the programs
/// that it starts meanwhile.
class NotedOpenFileLimit {
public:
    NotedOpenFileLimit() noexcept;
    ~NotedOpenFileLimit();
    NotedOpenFileLimit(const NotedOpenFileLimit&) = delete;
    NotedOpenFileLimit& operator=(const NotedOpenFileLimit&) = delete;

private:
    rlimit before{};
};

} // namespace mos::server
