#pragma once

#include <csignal>
#include <initializer_list>

namespace mos::server {

/// Signals that are waited for instead of interrupting. Threads that begin later leave them alone.
class SignalSet {
public:
    explicit SignalSet(std::initializer_list<int> signals);
    ~SignalSet();
    SignalSet(const SignalSet&) = delete;
    SignalSet& operator=(const SignalSet&) = delete;

    /// Waits for one of them and returns its number.
    [[nodiscard]] int wait() const;

private:
    sigset_t set{};
    sigset_t before{};
};

} // namespace mos::server
