#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "manifest/ordered_table.h"

namespace mos {

class TomlValue;

using TomlArray = std::vector<TomlValue>;
using TomlTable = OrderedTable<TomlValue>;

/// One value of a TOML document: string, 64-bit integer, boolean, array or table. Owns its
/// children.
///
/// Copying and destroying take no stack that grows with the nesting of the value: documents may
/// nest as deeply as their length allows.
class TomlValue {
public:
    TomlValue() = default; ///< the empty string
    TomlValue(std::string text) : held(std::move(text)) {}
    TomlValue(std::int64_t number) : held(number) {}
    TomlValue(bool boolean) : held(boolean) {}
    TomlValue(TomlArray elements) : held(std::move(elements)) {}
    TomlValue(TomlTable entries) : held(std::move(entries)) {}

    TomlValue(const TomlValue& other);
    TomlValue(TomlValue&& other) noexcept;
    TomlValue& operator=(const TomlValue& other);
    TomlValue& operator=(TomlValue&& other) noexcept;
    ~TomlValue();

    [[nodiscard]] bool isString() const noexcept;
    [[nodiscard]] bool isInteger() const noexcept;
    [[nodiscard]] bool isBoolean() const noexcept;
    [[nodiscard]] bool isArray() const noexcept;
    [[nodiscard]] bool isTable() const noexcept;

    // Asking for what the value does not hold throws std::bad_variant_access.
    [[nodiscard]] const std::string& asString() const;
    [[nodiscard]] std::int64_t asInteger() const;
    [[nodiscard]] bool asBoolean() const;
    [[nodiscard]] const TomlArray& asArray() const;
    [[nodiscard]] TomlArray& asArray();
    [[nodiscard]] const TomlTable& asTable() const;
    [[nodiscard]] TomlTable& asTable();

private:
    void releaseChildren() noexcept;
    void moveChildrenTo(TomlArray& pending) noexcept;

    std::variant<std::string, std::int64_t, bool, TomlArray, TomlTable> held;
};

/// Whether `table` is a table with the key `key`.
[[nodiscard]] bool contains(const TomlValue& table, std::string_view key);

/// The value under `key`; null when it is absent or `table` is not a table.
[[nodiscard]] const TomlValue* find(const TomlValue& table, std::string_view key);

/// The string under `key`, else `defaultValue` (absent, another kind, or not a table).
[[nodiscard]] std::string get_string(const TomlValue& table, std::string_view key,
                                     std::string_view defaultValue);

/// The boolean under `key`, else `defaultValue` (absent, another kind, or not a table).
[[nodiscard]] bool get_bool(const TomlValue& table, std::string_view key, bool defaultValue);

} // namespace mos
