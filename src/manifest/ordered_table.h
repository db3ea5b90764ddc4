#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mos {

/// A table keyed by name that keeps the order in which names were first inserted, so that the same
/// input gives the same output everywhere.
///
/// Invariant: keys are unique. A second assignment replaces the value and keeps the place.
/// Look-ups take constant time once the table is large; erasing takes linear time. References to
/// values are valid until the next insertion or erasure.
template<typename Value>
class OrderedTable {
public:
    struct Entry {
        std::string key;
        Value value;

        template<typename NewValue>
        Entry(std::string newKey, NewValue&& newValue)
            : key(std::move(newKey)), value(std::forward<NewValue>(newValue)) {}
    };

    [[nodiscard]] bool empty() const noexcept { return entries.empty(); }
    [[nodiscard]] std::size_t size() const noexcept { return entries.size(); }
    [[nodiscard]] auto begin() const noexcept { return entries.begin(); }
    [[nodiscard]] auto end() const noexcept { return entries.end(); }
    [[nodiscard]] auto begin() noexcept { return entries.begin(); }
    [[nodiscard]] auto end() noexcept { return entries.end(); }

    /// Prepares for `count` entries, so that inserting them moves none.
    void reserve(std::size_t count) {
        entries.reserve(count);
        if (count > scannedSize && slots.size() < count * 2) {
            rebuildSlots(count);
        }
    }

    [[nodiscard]] bool contains(std::string_view key) const { return indexOf(key) != none; }

    /// The value under `key`, or null.
    [[nodiscard]] const Value* find(std::string_view key) const {
        const std::size_t index = indexOf(key);
        return index == none ? nullptr : &entries[index].value;
    }
    [[nodiscard]] Value* find(std::string_view key) {
        const std::size_t index = indexOf(key);
        return index == none ? nullptr : &entries[index].value;
    }

    /// Inserts `value` or replaces the value that `key` has. Returns the stored value.
    template<typename NewValue = Value>
    Value& assign(std::string key, NewValue&& value) {
        const Place place = placeOf(key);
        if (place.index != none) {
            Value& existing = entries[place.index].value;
            existing = std::forward<NewValue>(value);
            return existing;
        }
        entries.emplace_back(std::move(key), std::forward<NewValue>(value));
        if (slots.size() >= entries.size() * 2) {
            slots[place.slot] = static_cast<std::uint32_t>(entries.size() - 1);
        } else if (entries.size() > scannedSize) {
            rebuildSlots(entries.size());
        }
        return entries.back().value;
    }

    /// Removes `key`; false when it was not there.
    bool erase(std::string_view key) {
        const std::size_t index = indexOf(key);
        if (index == none) {
            return false;
        }
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index));
        rebuildSlots(entries.size());
        return true;
    }

private:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    // Up to this size a scan beats hashing, and most tables of a manifest stay below it.
    static constexpr std::size_t scannedSize = 8;
    static constexpr std::uint32_t freeSlot = UINT32_MAX;

    /// Where a key stands, or would stand.
    struct Place {
        std::size_t index; ///< in `entries`, or none
        std::size_t slot;  ///< in `slots`, unless there are none
    };

    [[nodiscard]] Place placeOf(std::string_view key) const {
        if (slots.empty()) {
            for (std::size_t i = 0; i < entries.size(); ++i) {
                if (entries[i].key == key) {
                    return {i, 0};
                }
            }
            return {none, 0};
        }
        const std::size_t slot = slotFor(key);
        return {slots[slot] == freeSlot ? none : slots[slot], slot};
    }

    [[nodiscard]] std::size_t indexOf(std::string_view key) const { return placeOf(key).index; }

    /// The slot that holds `key`, or the free one where it belongs.
    [[nodiscard]] std::size_t slotFor(std::string_view key) const {
        const std::size_t mask = slots.size() - 1;
        std::size_t slot = std::hash<std::string_view>{}(key)&mask;
        while (slots[slot] != freeSlot && entries[slots[slot]].key != key) {
            slot = (slot + 1) & mask;
        }
        return slot;
    }

    /// Enters all entries into slots that are enough for `expected` of them.
    void rebuildSlots(std::size_t expected) {
        slots.clear();
        if (expected <= scannedSize) {
            return;
        }
        std::size_t count = scannedSize * 4;
        while (count < expected * 4) {
            count *= 2;
        }
        slots.assign(count, freeSlot);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            slots[slotFor(entries[i].key)] = static_cast<std::uint32_t>(i);
        }
    }

    std::vector<Entry> entries;
    // Open addressing: indexes into `entries`, a power of two of them, at most half in use.
    std::vector<std::uint32_t> slots;
};

} // namespace mos
