#include "store/sha256_x86.h"

#include <array>
#include <immintrin.h>

#include "store/sha256_constants.h"

// The SHA instructions keep the state as two vectors, ABEF and CDGH (highest lane first), and do
// two rounds at a time. Sixteen words of the message schedule live in four vectors that are
// renewed in turn.
namespace mos {
namespace {

struct State {
    __m128i abef;
    __m128i cdgh;
};

__m128i load(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

void store(void* bytes, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(bytes), value);
}

State pack(const std::uint32_t* words) {
    const __m128i cdab = _mm_shuffle_epi32(load(words), 0xB1);
    const __m128i efgh = _mm_shuffle_epi32(load(words + 4), 0x1B);
    return {_mm_alignr_epi8(cdab, efgh, 8), _mm_blend_epi16(efgh, cdab, 0xF0)};
}

void unpack(const State& state, std::uint32_t* words) {
    const __m128i feba = _mm_shuffle_epi32(state.abef, 0x1B);
    const __m128i dchg = _mm_shuffle_epi32(state.cdgh, 0xB1);
    store(words, _mm_blend_epi16(feba, dchg, 0xF0));
    store(words + 4, _mm_alignr_epi8(dchg, feba, 8));
}

void fourRounds(State& state, std::size_t group, __m128i words) {
    const __m128i sum = _mm_add_epi32(words, load(&sha256RoundConstants[4 * group]));
    state.cdgh = _mm_sha256rnds2_epu32(state.cdgh, state.abef, sum);
    state.abef = _mm_sha256rnds2_epu32(state.abef, state.cdgh, _mm_shuffle_epi32(sum, 0x0E));
}

/// The four schedule words after w12, from the sixteen that end with it.
__m128i nextWords(__m128i w0, __m128i w4, __m128i w8, __m128i w12) {
    const __m128i sum = _mm_add_epi32(_mm_sha256msg1_epu32(w0, w4), _mm_alignr_epi8(w12, w8, 4));
    return _mm_sha256msg2_epu32(sum, w12);
}

void compressBlock(State& state, const std::byte* block) {
    const __m128i byteOrder = _mm_set_epi64x(0x0C0D0E0F08090A0B, 0x0405060700010203);
    const State before = state;
    __m128i w0 = _mm_shuffle_epi8(load(block), byteOrder);
    __m128i w4 = _mm_shuffle_epi8(load(block + 16), byteOrder);
    __m128i w8 = _mm_shuffle_epi8(load(block + 32), byteOrder);
    __m128i w12 = _mm_shuffle_epi8(load(block + 48), byteOrder);
    fourRounds(state, 0, w0);
    fourRounds(state, 1, w4);
    fourRounds(state, 2, w8);
    fourRounds(state, 3, w12);
    for (std::size_t group = 4; group < 16; group += 4) {
        w0 = nextWords(w0, w4, w8, w12);
        fourRounds(state, group, w0);
        w4 = nextWords(w4, w8, w12, w0);
        fourRounds(state, group + 1, w4);
        w8 = nextWords(w8, w12, w0, w4);
        fourRounds(state, group + 2, w8);
        w12 = nextWords(w12, w0, w4, w8);
        fourRounds(state, group + 3, w12);
    }
    state.abef = _mm_add_epi32(state.abef, before.abef);
    state.cdgh = _mm_add_epi32(state.cdgh, before.cdgh);
}

} // namespace

void compressSha256X86(std::uint32_t* state, const std::byte* blocks, std::size_t count) noexcept {
    State packed = pack(state);
    for (std::size_t i = 0; i < count; ++i) {
        compressBlock(packed, blocks + i * sha256BlockSize);
    }
    unpack(packed, state);
}

} // namespace mos
