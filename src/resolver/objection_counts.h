#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "resolver/version_set.h"

namespace mos {

/// How many objections there are to each version of a package, by its place. The counts are kept
/// bit by bit: plane p holds bit p of all of them, so that 64 versions are counted at once.
class ObjectionCounts {
public:
    ObjectionCounts() = default;

    /// No objections to `count` versions.
    explicit ObjectionCounts(std::size_t count);

    /// Adds an objection to each of the versions.
    void add(const VersionSet& versions);

    /// Takes back an objection to each of the versions; there must be one.
    void remove(const VersionSet& versions);

    /// Whether there is an objection to every version.
    [[nodiscard]] bool isTotal() const noexcept { return left == 0; }

    /// The first version without objection. There must be one.
    [[nodiscard]] std::size_t firstLeft() noexcept;

private:
    [[nodiscard]] bool hasPlane(std::size_t plane) const {
        return plane * unobjected.size() < planes.size();
    }
    std::uint64_t& wordOf(std::size_t plane, std::size_t word) {
        return planes[plane * unobjected.size() + word];
    }

    std::vector<std::uint64_t> planes;     ///< one after the other
    std::vector<std::uint64_t> unobjected; ///< the versions without objection
    std::size_t left = 0;                  ///< how many they are
    std::size_t searchFrom = 0;            ///< no word before it has one of them
};

} // namespace mos
