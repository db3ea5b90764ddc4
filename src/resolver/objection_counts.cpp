#include "resolver/objection_counts.h"

#include <algorithm>
#include <bit>

namespace mos {
namespace {

constexpr std::size_t bitsPerWord = 64;

std::size_t countOf(std::uint64_t places) {
    return static_cast<std::size_t>(std::popcount(places));
}

} // namespace

ObjectionCounts::ObjectionCounts(std::size_t count)
    : unobjected((count + bitsPerWord - 1) / bitsPerWord), left(count) {
    VersionSet::below(count).forEachWord(
        [this](std::size_t word, std::uint64_t places) { unobjected[word] = places; });
}

void ObjectionCounts::add(const VersionSet& versions) {
    versions.forEachWord([this](std::size_t word, std::uint64_t places) {
        left -= countOf(unobjected[word] & places);
        unobjected[word] &= ~places;
        std::uint64_t carry = places;
        for (std::size_t plane = 0; carry != 0; ++plane) {
            if (!hasPlane(plane)) {
                planes.resize(planes.size() + unobjected.size());
            }
            std::uint64_t& bits = wordOf(plane, word);
            const std::uint64_t overflow = bits & carry;
            bits ^= carry;
            carry = overflow;
        }
    });
}

void ObjectionCounts::remove(const VersionSet& versions) {
    versions.forEachWord([this](std::size_t word, std::uint64_t places) {
        std::uint64_t borrow = places;
        std::uint64_t counted = 0;
        for (std::size_t plane = 0; hasPlane(plane); ++plane) {
            std::uint64_t& bits = wordOf(plane, word);
            const std::uint64_t underflow = ~bits & borrow;
            bits ^= borrow;
            borrow = underflow;
            counted |= bits;
        }
        const std::uint64_t freed = places & ~counted;
        left += countOf(freed);
        unobjected[word] |= freed;
        if (freed != 0) {
            searchFrom = std::min(searchFrom, word);
        }
    });
}

std::size_t ObjectionCounts::firstLeft() noexcept {
    while (unobjected[searchFrom] == 0) {
        ++searchFrom;
    }
    return searchFrom * bitsPerWord +
           static_cast<std::size_t>(std::countr_zero(unobjected[searchFrom]));
}

} // namespace mos
