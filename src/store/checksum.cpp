#include "store/checksum.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "cli/mos_exception.h"
#include "store/sha256.h"

namespace mos {
namespace {

constexpr const char* checksumPrefix = "sha256:";
constexpr int mismatchExitStatus = 7;

std::string digestOf(const DownloadFile& file) {
    Sha256 digest;
    std::array<std::byte, 4096> buffer{};
    std::uint64_t offset = 0;
    while (const std::size_t size = file.readAt(offset, buffer)) {
        digest.update(std::span(buffer).first(size));
        offset += size;
    }
    return digest.finish();
}

/// Empty when the file cannot be read.
std::string digestOf(InputFile& file) {
    Sha256 digest;
    std::array<std::byte, 65536> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (!file.seek(0)) {
        return "";
    }
    while (const std::size_t size = file.read(buffer)) {
        digest.update(std::span(buffer).first(size));
    }
    return file.hasFailed() ? "" : digest.finish();
}

bool isAccepted(const std::string& expected, const std::string& actual) {
    return expected == actual || checksumPrefix + expected == actual;
}

void compare(const std::string& name, const Version& version, const std::string& expected,
             const std::string& actual) {
    if (isAccepted(expected, actual)) {
        return;
    }
    throw MosException(
        ErrorCode::ChecksumMismatch,
        "Checksum verification failed for package '" + name + " " + version.to_string() +
            "'.\nExpected: " + expected + "\nActual:   " + actual,
        "The downloaded package may be corrupted or compromised.", mismatchExitStatus);
}

} // namespace

void verifyChecksum(const std::string& name, const Version& version,
                    const std::filesystem::path& file, const std::string& expected) {
    if (!expected.empty()) {
        compare(name, version, expected, checksumPrefix + sha256File(file));
    }
}

void verifyChecksum(const std::string& name, const Version& version, const DownloadFile& file,
                    const std::string& expected) {
    if (!expected.empty()) {
        compare(name, version, expected, checksumPrefix + digestOf(file));
    }
}

void verifyChecksum(const std::string& name, const Version& version, InputFile& file,
                    const std::string& expected) {
    if (!expected.empty()) {
        compare(name, version, expected, checksumPrefix + digestOf(file));
    }
}

bool hasChecksum(InputFile& file, const std::string& expected) {
    return expected.empty() || isAccepted(expected, checksumPrefix + digestOf(file));
}

} // namespace mos
