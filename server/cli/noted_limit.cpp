#include "server/cli/noted_limit.h"

namespace mos::server {
namespace {

rlimit noted{RLIM_INFINITY, RLIM_INFINITY};

} // namespace

// What fails leaves a limit as it is, which harms nobody.

void noteOpenFileLimit() noexcept {
    static_cast<void>(getrlimit(RLIMIT_NOFILE, &noted));
}

NotedOpenFileLimit::NotedOpenFileLimit() noexcept {
    static_cast<void>(getrlimit(RLIMIT_NOFILE, &before));
    static_cast<void>(setrlimit(RLIMIT_NOFILE, &noted));
}

NotedOpenFileLimit::~NotedOpenFileLimit() {
    static_cast<void>(setrlimit(RLIMIT_NOFILE, &before));
}

} // namespace mos::server
