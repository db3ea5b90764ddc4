#include "server/api/login_throttle.h"

#include <algorithm>

namespace mos::server {
namespace {

constexpr int freeFailures = 5;
constexpr int mostDoublings = 6;
constexpr std::chrono::seconds longestWait{60};
constexpr std::chrono::minutes memory{10};
constexpr std::size_t mostKeys = 20'000;

std::chrono::seconds waitAfter(int failures) {
    if (failures < freeFailures) {
        return std::chrono::seconds(0);
    }
    const int doublings = std::min(failures - freeFailures, mostDoublings);
    return std::min(std::chrono::seconds(std::int64_t{1} << doublings), longestWait);
}

} // namespace

std::chrono::seconds LoginThrottle::attempt(const std::string& key, Time now) {
    const std::lock_guard lock(mutex);
    if (failures.size() >= mostKeys && !failures.contains(key)) {
        forgetOld(now);
    }
    Failures& entry = failures[key];
    if (entry.count > 0 && now - entry.last > memory) {
        entry.count = 0;
    }
    const auto waited = now - entry.last;
    const auto wait = waitAfter(entry.count);
    if (entry.count > 0 && waited < wait) {
        return std::chrono::ceil<std::chrono::seconds>(wait - waited);
    }
    ++entry.count;
    entry.last = now;
    return std::chrono::seconds(0);
}

void LoginThrottle::succeeded(const std::string& key) {
    const std::lock_guard lock(mutex);
    failures.erase(key);
}

void LoginThrottle::forgetOld(Time now) {
    std::erase_if(failures, [&](const auto& entry) { return now - entry.second.last > memory; });
    if (failures.size() >= mostKeys) {
        failures.clear();
    }
}

} // namespace mos::server
