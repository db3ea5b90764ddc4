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

    /// Calls `visit` with each place, in ascending order.
    template<typename Visit>
    void forEach(Visit visit) const {
        for (std::size_t i = 0; i <= rest.size(); ++i) {
            for (std::uint64_t left = word(i); left != 0; left &= left - 1) {
                visit(i * bits + static_cast<std::size_t>(std::countr_zero(left)));
            }
        }
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

    std::uint64_t& wordAt(std::size_t i) {
        if (i == 0) {
            return first;
        }
        rest.resize(std::max(rest.size(), i));
        return rest[i - 1];
    }

    std::uint64_t first = 0;
    std::vector<std::uint64_t> rest;
};

} // namespace mos
