#pragma once

#include <windows.h>

/// How long the Windows sources of this folder wait for others; no other folder includes it.
namespace mos {

/// The time that one operation has for being repeated: virus scanners and indexers hold new files
/// for moments in which they cannot be renamed or deleted.
class Patience {
public:
    Patience() noexcept;

    /// Sleeps for a moment. False, at once, when three seconds have passed since the beginning.
    [[nodiscard]] bool waits() noexcept;

private:
    ULONGLONG end;
    DWORD nap = 1; ///< milliseconds
};

/// Whether an error is one that a scanner causes: access denied, sharing violation, or something
/// that is removed already but that somebody still holds.
[[nodiscard]] bool mayBeScanner(DWORD error) noexcept;

/// Repeats `operation`, which returns whether it succeeded and sets GetLastError() when not, while
/// a scanner may be what made it fail.
template<typename Operation>
[[nodiscard]] bool succeedsInTime(const Operation& operation) {
    Patience patience;
    while (!operation()) {
        const DWORD error = GetLastError();
        if (!mayBeScanner(error) || !patience.waits()) {
            SetLastError(error);
            return false;
        }
    }
    return true;
}

} // namespace mos
