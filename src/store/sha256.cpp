#include "store/sha256.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/input_file.h"
#include "platform/processor.h"
#include "store/sha256_constants.h"
#include "store/sha256_portable.h"
#include "store/sha256_x86.h"

namespace mos {
namespace {

constexpr std::size_t lengthFieldSize = 8;
constexpr std::size_t fileBufferSize = 4096;

void putLengthInBits(std::byte* field, std::uint64_t byteCount) {
    const std::uint64_t bits = byteCount * 8;
    for (std::size_t i = 0; i < lengthFieldSize; ++i) {
        field[i] = static_cast<std::byte>(bits >> (56 - 8 * i));
    }
}

std::string hexText(const std::array<std::uint32_t, 8>& words) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(64);
    for (const std::uint32_t word : words) {
        for (int shift = 28; shift >= 0; shift -= 4) {
            text += digits[word >> shift & 0xFU];
        }
    }
    return text;
}

} // namespace

Sha256::Sha256(Implementation implementation) noexcept
    : state(sha256InitialState),
      compress(implementation == Implementation::Fastest && processorHasSha256()
                   ? compressSha256X86
                   : compressSha256Portable) {}

void Sha256::update(std::span<const std::byte> bytes) noexcept {
    byteCount += bytes.size();
    if (fill > 0) {
        const std::size_t taken = std::min(bytes.size(), block.size() - fill);
        std::copy_n(bytes.data(), taken, block.data() + fill);
        fill += taken;
        bytes = bytes.subspan(taken);
        if (fill < block.size()) {
            return;
        }
        compress(state.data(), block.data(), 1);
        fill = 0;
    }
    const std::size_t wholeBlocks = bytes.size() / block.size();
    compress(state.data(), bytes.data(), wholeBlocks);
    bytes = bytes.subspan(wholeBlocks * block.size());
    std::ranges::copy(bytes, block.data());
    fill = bytes.size();
}

std::string Sha256::finish() {
    std::array<std::byte, 2 * sha256BlockSize> tail{};
    std::copy_n(block.data(), fill, tail.data());
    tail[fill] = std::byte{0x80};
    const std::size_t blocks = fill + 1 + lengthFieldSize <= block.size() ? 1 : 2;
    putLengthInBits(tail.data() + blocks * block.size() - lengthFieldSize, byteCount);
    compress(state.data(), tail.data(), blocks);
    return hexText(state);
}

std::string sha256File(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.isOpen()) {
        return {};
    }
    Sha256 digest;
    std::array<std::byte, fileBufferSize> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    while (const std::size_t size = file.read(buffer)) {
        digest.update(std::span(buffer).first(size));
    }
    return file.hasFailed() ? std::string() : digest.finish();
}

} // namespace mos
