#include "platform/open_file_limit_posix.h"

#include <sys/resource.h>

#include <algorithm>
#include <climits>

namespace mos {
namespace {

constexpr rlim_t wanted = PATH_MAX;

/// The limit that the process was started with; none before it is raised.
rlim_t startedWith = RLIM_INFINITY;

void setLimit(rlimit limit, rlim_t number) {
    limit.rlim_cur = number;
    // With the limit as it is, less can be done, and what fails says so.
    static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit));
}

} // namespace

void raiseOpenFileLimit() noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < wanted) {
        startedWith = limit.rlim_cur;
        setLimit(limit, std::min(limit.rlim_max, wanted));
    }
}

void restoreOpenFileLimit() noexcept {
    rlimit limit{};
    if (startedWith != RLIM_INFINITY && ::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        setLimit(limit, startedWith);
    }
}

} // namespace mos
