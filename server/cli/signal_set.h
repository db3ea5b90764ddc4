#pragma once

#include <csignal>
#include <initializer_list>
#include <vector>

namespace mos::server {

/// Signals that are waited for instead of interrupting, in this thread and those that it begins
/// later; for the rest of the process, so that a second one does not cut the cleaning up short.
class SignalSet {
public:
    explicit SignalSet(std::initializer_list<int> signals);

    /// Waits for one of them and returns its number.
    [[nodiscard]] int wait() const;

    /// One of them that has come and was not waited for yet; 0 when there is none.
    [[nodiscard]] int pending() const;

private:
    std::vector<int> numbers;
    sigset_t set{};
};

} // namespace mos::server
