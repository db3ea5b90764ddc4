#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace mos {

/// A streaming SHA-256 (FIPS 180-4). Uses the processor's SHA instructions where it has them.
class Sha256 {
public:
    /// Which compression function runs; both give the same digests.
    enum class Implementation { Fastest, Portable };

    explicit Sha256(Implementation implementation = Implementation::Fastest) noexcept;

    void update(std::span<const std::byte> bytes) noexcept;

    /// Ends the message and returns the digest as 64 lowercase hexadecimal digits. The object
    /// must not be used afterwards.
    [[nodiscard]] std::string finish();

private:
    using Compress = void (*)(std::uint32_t* state, const std::byte* blocks,
                              std::size_t count) noexcept;

    std::array<std::uint32_t, 8> state;
    std::uint64_t byteCount = 0;
    std::array<std::byte, 64> block{};
    std::size_t fill = 0;
    Compress compress;
};

/// The digest text of a file's content; empty when the file cannot be opened or read. Streams
/// through a buffer of 4096 bytes.
[[nodiscard]] std::string sha256File(const std::filesystem::path& path);

} // namespace mos
