#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace mos {

/// A set of versions of one package, by their places in the package's list. The first 64 places
/// need no memory of their own.
class VersionSet {
public:
    /// The places below `count`.
    [[nodiscard]] static VersionSet below(std::size_t count) {
        VersionSet set;
        for (std::size_t word = 0; word * bits < count; ++word) {
            const std::size_t left = count - word * bits;
            set.wordAt(word) = left >= bits ? ~std::uint64_t{0} : (std::uint64_t{1} << left) - 1;
        }
        return set;
    }

    void insert(std::size_t place) { wordAt(place / bits) |= std::uint64_t{1} << (place % bits); }

    void erase(std::size_t place) { eraseRange(place, place + 1); }

    /// Takes out the places from `begin` up to `end`, which is not among them.
    void eraseRange(std::size_t begin, std::size_t end) {
        for (std::size_t i = begin / bits; i <= rest.size() && i * bits < end; ++i) {
            std::uint64_t erased = ~std::uint64_t{0};
            if (begin > i * bits) {
                erased <<= begin - i * bits;
            }
            if (end - i * bits < bits) {
                erased &= (std::uint64_t{1} << (end - i * bits)) - 1;
            }
            existingWord(i) &= ~erased;
        }
    }

    [[nodiscard]] bool contains(std::size_t place) const {
        return ((word(place / bits) >> (place % bits)) & 1U) != 0;
    }

    /// Whether every place in `other` is in this set, too.
    [[nodiscard]] bool includes(const VersionSet& other) const {
        for (std::size_t i = 0; i <= other.rest.size(); ++i) {
            if ((other.word(i) & ~word(i)) != 0) {
                return false;
            }
        }
        return true;
    }

    void unite(const VersionSet& other) {
        for (std::size_t i = other.rest.size() + 1; i-- > 0;) {
            if (const std::uint64_t added = other.word(i); added != 0) {
                wordAt(i) |= added;
            }
        }
    }

    void intersect(const VersionSet& other) {
        first &= other.first;
        for (std::size_t i = 0; i < rest.size(); ++i) {
            rest[i] &= other.word(i + 1);
        }
    }

    /// Calls `visit` with i and the places from 64 * i on as bits, the first as the lowest, for
    /// each i with any, in ascending order.
    template<typename Visit>
    void forEachWord(Visit visit) const {
        for (std::size_t i = 0; i <= rest.size(); ++i) {
            if (const std::uint64_t places = word(i); places != 0) {
                visit(i, places);
            }
        }
    }

    /// Calls `visit` with each place, in ascending order.
    template<typename Visit>
    void forEach(Visit visit) const {
        forEachWord([&visit](std::size_t i, std::uint64_t places) {
            for (; places != 0; places &= places - 1) {
                visit(i * bits + static_cast<std::size_t>(std::countr_zero(places)));
            }
        });
    }

    /// Memory in use besides the object itself, in bytes.
    [[nodiscard]] std::size_t ownMemory() const { return rest.capacity() * sizeof(std::uint64_t); }

private:
    static constexpr std::size_t bits = 64;

    [[nodiscard]] std::uint64_t word(std::size_t i) const {
        if (i == 0) {
            return first;
        }
        return i <= rest.size() ? rest[i - 1] : 0;
    }

    std::uint64_t& existingWord(std::size_t i) { return i == 0 ? first : rest[i - 1]; }

    std::uint64_t& wordAt(std::size_t i) {
        rest.resize(std::max(rest.size(), i));
        return existingWord(i);
    }

    std::uint64_t first = 0;
    std::vector<std::uint64_t> rest;
};

} // namespace mos
