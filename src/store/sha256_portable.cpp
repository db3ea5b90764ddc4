#include "store/sha256_portable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "store/sha256_constants.h"

namespace mos {
namespace {

using Schedule = std::array<std::uint32_t, 16>;

std::uint32_t bigEndianWord(const std::byte* bytes) {
    return std::to_integer<std::uint32_t>(bytes[0]) << 24U |
           std::to_integer<std::uint32_t>(bytes[1]) << 16U |
           std::to_integer<std::uint32_t>(bytes[2]) << 8U |
           std::to_integer<std::uint32_t>(bytes[3]);
}

std::uint32_t choice(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return z ^ (x & (y ^ z));
}

std::uint32_t majority(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return (x & y) | (z & (x | y));
}

std::uint32_t bigSigma0(std::uint32_t x) {
    return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22);
}

std::uint32_t bigSigma1(std::uint32_t x) {
    return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}

std::uint32_t smallSigma0(std::uint32_t x) {
    return std::rotr(x, 7) ^ std::rotr(x, 18) ^ (x >> 3U);
}

std::uint32_t smallSigma1(std::uint32_t x) {
    return std::rotr(x, 17) ^ std::rotr(x, 19) ^ (x >> 10U);
}

/// The working variables a to h. They are not shifted from round to round: round t names them
/// through an index that is rotated by t, which costs nothing as t is known when compiling.
using Working = std::array<std::uint32_t, 8>;

template<std::size_t t>
void round(Working& v, std::uint32_t constantPlusWord) {
    const auto a = v[(0 - t) % 8];
    const auto b = v[(1 - t) % 8];
    const auto c = v[(2 - t) % 8];
    const auto e = v[(4 - t) % 8];
    const auto f = v[(5 - t) % 8];
    const auto g = v[(6 - t) % 8];
    auto& d = v[(3 - t) % 8];
    auto& h = v[(7 - t) % 8];
    const std::uint32_t sum = h + bigSigma1(e) + choice(e, f, g) + constantPlusWord;
    d += sum;
    h = sum + bigSigma0(a) + majority(a, b, c);
}

template<std::size_t... t>
void firstRounds(Working& v, const Schedule& words, std::index_sequence<t...> /*unrolled*/) {
    (round<t>(v, sha256RoundConstants[t] + words[t]), ...);
}

/// Replaces word t - 16 of the schedule by word t; both live in the same place.
template<std::size_t t>
std::uint32_t nextWord(Schedule& words) {
    words[t] +=
        smallSigma1(words[(t + 14) % 16]) + words[(t + 9) % 16] + smallSigma0(words[(t + 1) % 16]);
    return words[t];
}

template<std::size_t... t>
void laterRounds(Working& v, Schedule& words, const std::uint32_t* constants,
                 std::index_sequence<t...> /*unrolled*/) {
    (round<t>(v, constants[t] + nextWord<t>(words)), ...);
}

void compressBlock(std::uint32_t* state, const std::byte* block) {
    constexpr auto sixteen = std::make_index_sequence<16>{};
    Schedule words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = bigEndianWord(block + 4 * i);
    }
    Working working{};
    std::copy_n(state, working.size(), working.data());
    firstRounds(working, words, sixteen);
    for (std::size_t t = 16; t < 64; t += 16) {
        laterRounds(working, words, &sha256RoundConstants[t], sixteen);
    }
    for (std::size_t i = 0; i < working.size(); ++i) {
        state[i] += working[i];
    }
}

} // namespace

void compressSha256Portable(std::uint32_t* state, const std::byte* blocks,
                            std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        compressBlock(state, blocks + i * sha256BlockSize);
    }
}

} // namespace mos
