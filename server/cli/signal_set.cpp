#include "server/cli/signal_set.h"

namespace mos::server {

SignalSet::SignalSet(std::initializer_list<int> signals) {
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

} // namespace mos::server
