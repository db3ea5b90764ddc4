#include "server/cli/signal_set.h"

#include <algorithm>

namespace mos::server {

SignalSet::SignalSet(std::initializer_list<int> signals) : numbers(signals) {
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int SignalSet::wait() const {
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
    return signal;
}

int SignalSet::pending() const {
    sigset_t waiting{};
    sigpending(&waiting);
    const auto found = std::ranges::find_if(
        numbers, [&](int signal) { return sigismember(&waiting, signal) == 1; });
    return found == numbers.end() ? 0 : *found;
}

} // namespace mos::server
