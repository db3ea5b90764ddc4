#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "archive/crc32_lanes.h"

// Included by one source file per instruction set and compiled for each, hence internal to the file
// that includes it and without any function of the standard library, which would be shared.
//
// The registers are bit-sliced: slice i holds bit i of every register, one bit position per lane.
// A shift of all registers is then a change of the slices' names, done by the compiler, and adding
// the polynomial where a one was shifted out is one exclusive or per term of the polynomial.

namespace mos {
namespace {

inline constexpr std::size_t wordBits = 32;

/// 32 rows of words, one word per lane, or 32 slices. `Row` is a vector of words.
template<typename Row>
using Rows = Row (&)[wordBits]; // NOLINT(modernize-avoid-c-arrays)

template<typename Row>
constexpr std::size_t columnCount = sizeof(Row) / sizeof(std::uint32_t);

/// Exchanges bits of two rows that stand in each other's place: those of `mask` in the lower row
/// and those `distance` bits above in the upper one.
template<typename Row, unsigned distance, std::size_t pair>
inline void exchangeBits(Rows<Row> rows, std::uint32_t mask) noexcept {
    constexpr std::size_t upper = pair / distance * distance * 2 + pair % distance;
    constexpr std::size_t lower = upper + distance;
    const Row changes = ((rows[upper] >> distance) ^ rows[lower]) & mask;
    rows[lower] ^= changes;
    rows[upper] ^= changes << distance;
}

template<typename Row, unsigned distance, std::size_t... pairs>
inline void exchangeAllBits(Rows<Row> rows, std::uint32_t mask,
                            std::index_sequence<pairs...> /*all*/) noexcept {
    (exchangeBits<Row, distance, pairs>(rows, mask), ...);
}

/// Makes slices of words and words of slices: bit i of row j becomes bit j of row i, in all
/// columns.
template<typename Row>
inline void transposeBits(Rows<Row> rows) noexcept {
    constexpr std::make_index_sequence<wordBits / 2> pairs;
    exchangeAllBits<Row, 16>(rows, 0x0000FFFF, pairs);
    exchangeAllBits<Row, 8>(rows, 0x00FF00FF, pairs);
    exchangeAllBits<Row, 4>(rows, 0x0F0F0F0F, pairs);
    exchangeAllBits<Row, 2>(rows, 0x33333333, pairs);
    exchangeAllBits<Row, 1>(rows, 0x55555555, pairs);
}

/// Adds to the slice of a bit what was shifted out, if the bit is a term of the polynomial.
template<std::size_t bit, typename Row>
inline void addTerm(Row& slice, const Row& shiftedOut) noexcept {
    if constexpr ((crc32Polynomial >> bit & 1U) != 0) {
        slice ^= shiftedOut;
    }
}

/// Shifts a bit out of registers that were shifted `step` times since slice i was their bit i. The
/// slice of the bit that leaves becomes that of bit 31, a term of the polynomial, as it is.
template<typename Row, std::size_t step, std::size_t... bits>
inline void shiftOnce(Rows<Row> slices, std::index_sequence<bits...> /*below31*/) noexcept {
    const Row shiftedOut = slices[step];
    (addTerm<bits>(slices[(step + 1 + bits) % wordBits], shiftedOut), ...);
}

template<typename Row, std::size_t... steps>
inline void shiftWord(Rows<Row> slices, std::index_sequence<steps...> /*all*/) noexcept {
    (shiftOnce<Row, steps>(slices, std::make_index_sequence<wordBits - 1>()), ...);
}

inline std::uint32_t wordAt(const std::byte* bytes) noexcept {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U |
           static_cast<std::uint32_t>(bytes[2]) << 16U |
           static_cast<std::uint32_t>(bytes[3]) << 24U;
}

/// The registers after the segments: that of the first segment begins as `value`, the others as 0.
template<typename Row>
inline void advanceLanes(Rows<Row> registers, std::uint32_t value, const std::byte* data,
                         std::size_t segmentSize) noexcept {
    Row slices[wordBits] = {}; // NOLINT(modernize-avoid-c-arrays)
    slices[0][0] = value;
    transposeBits<Row>(slices);
    for (std::size_t offset = 0; offset < segmentSize; offset += sizeof(std::uint32_t)) {
        Row words[wordBits]; // NOLINT(modernize-avoid-c-arrays)
        for (std::size_t row = 0; row < wordBits; ++row) {
            for (std::size_t column = 0; column < columnCount<Row>; ++column) {
                const std::size_t lane = row * columnCount<Row> + column;
                words[row][column] = wordAt(data + lane * segmentSize + offset);
            }
        }
        transposeBits<Row>(words);
        for (std::size_t bit = 0; bit < wordBits; ++bit) {
            slices[bit] ^= words[bit];
        }
        shiftWord<Row>(slices, std::make_index_sequence<wordBits>());
    }
    transposeBits<Row>(slices);
    for (std::size_t row = 0; row < wordBits; ++row) {
        registers[row] = slices[row];
    }
}

/// A factor times x^0 to x^31.
struct Multiples {
    explicit Multiples(std::uint32_t factor) noexcept {
        for (std::uint32_t& power : powers) {
            power = factor;
            factor = (factor >> 1U) ^ (crc32Polynomial & (0U - (factor & 1U)));
        }
    }

    std::uint32_t powers[wordBits]; // NOLINT(modernize-avoid-c-arrays)
};

/// Multiplies every register of a row by the factor.
template<typename Row>
inline void multiply(Row& row, const Multiples& multiples) noexcept {
    Row product = {};
    for (const std::uint32_t multiple : multiples.powers) {
        product ^= multiple & (0U - (row >> 31U));
        row <<= 1U;
    }
    row = product;
}

/// Adds up the registers of segments that follow each other, halves first: in each step the first
/// half is multiplied past the second and added to it.
template<typename Row>
inline std::uint32_t joinLanes(Rows<Row> registers, const std::uint32_t* shifts) noexcept {
    for (std::size_t half = wordBits / 2; half > 0; half /= 2) {
        const Multiples shift(*shifts++);
        for (std::size_t row = 0; row < half; ++row) {
            multiply(registers[row], shift);
            registers[row] ^= registers[row + half];
        }
    }
    Row last = registers[0];
    for (std::size_t half = columnCount<Row> / 2; half > 0; half /= 2) {
        const Row both = last;
        multiply(last, Multiples(*shifts++));
        for (std::size_t column = 0; column < half; ++column) {
            last[column] ^= both[column + half];
        }
    }
    return last[0];
}

/// AppendCrc32Segments with rows of type `Row`.
template<typename Row>
inline std::uint32_t appendSegments(std::uint32_t value, const std::byte* data,
                                    std::size_t segmentSize, const std::uint32_t* shifts) noexcept {
    Row registers[wordBits]; // NOLINT(modernize-avoid-c-arrays)
    advanceLanes<Row>(registers, value, data, segmentSize);
    return joinLanes<Row>(registers, shifts);
}

} // namespace
} // namespace mos
