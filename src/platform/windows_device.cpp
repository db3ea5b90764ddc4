#include "platform/windows_device.h"

#include <algorithm>
#include <array>

namespace mos {
namespace {

/// Names of devices in every directory, whatever extension follows.
constexpr std::array<std::string_view, 7> devices{"CON",    "PRN",     "AUX",   "NUL",
                                                  "CONIN$", "CONOUT$", "CLOCK$"};
/// Followed by one digit they are devices too.
constexpr std::array<std::string_view, 2> numberedDevices{"COM", "LPT"};
/// The superscript digits of Latin-1, in UTF-8, count as digits.
constexpr std::array<std::string_view, 3> superscripts{"\xC2\xB9", "\xC2\xB2", "\xC2\xB3"};

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool equalsIgnoringCase(std::string_view text, std::string_view upper) {
    return std::ranges::equal(text, upper, {}, upperCase);
}

bool isDigit(std::string_view text) {
    return (text.size() == 1 && text.front() >= '0' && text.front() <= '9') ||
           std::ranges::find(superscripts, text) != superscripts.end();
}

bool isNumberedDevice(std::string_view text) {
    return text.size() > 3 && isDigit(text.substr(3)) &&
           std::ranges::any_of(numberedDevices, [text](std::string_view device) {
               return equalsIgnoringCase(text.substr(0, 3), device);
           });
}

} // namespace

bool isWindowsDevice(std::string_view fileName) noexcept {
    // "NUL .txt" is the device as well.
    std::string_view stem = fileName.substr(0, fileName.find('.'));
    stem = stem.substr(0, stem.find_last_not_of(' ') + 1);
    return isNumberedDevice(stem) || std::ranges::any_of(devices, [stem](std::string_view device) {
               return equalsIgnoringCase(stem, device);
           });
}

} // namespace mos
