#pragma once

#include <csignal>
#include <initializer_list>

namespace mos::server {

/// Signals that are waited for instead of interrupting, in this thread and those that it begins
/// later; for the rest of the process, so that a second one does not cut the cleaning up short.
class SignalSet {
public:
    explicit SignalSet(std::initializer_list<int> signals);

    /// Waits for one of them and returns its number.
    [[nodiscard]] int wait() const;

private:
    sigset_t set{};
};

} // namespace mos::server
