#include "server/store/clock.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace mos::server {
namespace {

std::string textOf(std::chrono::system_clock::time_point time, int milliseconds) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::string result = text.data();
    if (milliseconds >= 0) {
        std::array<char, 8> fraction{};
        std::snprintf(fraction.data(), fraction.size(), ".%03d", milliseconds % 1000);
        result += fraction.data();
    }
    return result + "Z";
}

} // namespace

std::string timestamp() {
    return textOf(std::chrono::system_clock::now(), -1);
}

std::string preciseTimestamp() {
    const auto now = std::chrono::system_clock::now();
    const auto whole = std::chrono::floor<std::chrono::seconds>(now);
    return textOf(whole, static_cast<int>(
                             std::chrono::floor<std::chrono::milliseconds>(now - whole).count()));
}

} // namespace mos::server
