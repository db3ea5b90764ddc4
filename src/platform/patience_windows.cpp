#include "platform/patience_windows.h"

#include <algorithm>

namespace mos {
namespace {

constexpr ULONGLONG wholeTime = 3000; // milliseconds
constexpr DWORD longestNap = 50;

} // namespace

Patience::Patience() noexcept : end(GetTickCount64() + wholeTime) {}

bool Patience::waits() noexcept {
    if (GetTickCount64() >= end) {
        return false;
    }
    Sleep(nap);
    nap = std::min(2 * nap, longestNap);
    return true;
}

bool mayBeScanner(DWORD error) noexcept {
    return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ||
           error == ERROR_DELETE_PENDING;
}

} // namespace mos
