#include "manifest/toml_value.h"

#include <utility>

namespace mos {
namespace {

struct PendingCopy {
    const TomlValue* from;
    TomlValue* to;
};

/// Gives `to` the shape of `from` with empty children, and notes the children to be filled.
void copyLevel(const PendingCopy& copy, std::vector<PendingCopy>& pending) {
    const TomlValue& from = *copy.from;
    if (from.isArray()) {
        *copy.to = TomlArray(from.asArray().size());
        auto slot = copy.to->asArray().begin();
        for (const TomlValue& element : from.asArray()) {
            pending.push_back({&element, &*slot++});
        }
    } else if (from.isTable()) {
        TomlTable table;
        for (const auto& entry : from.asTable()) {
            table.assign(entry.key, TomlValue());
        }
        *copy.to = std::move(table);
        auto slot = copy.to->asTable().begin();
        for (const auto& entry : from.asTable()) {
            pending.push_back({&entry.value, &(slot++)->value});
        }
    } else if (from.isString()) {
        *copy.to = from.asString();
    } else if (from.isInteger()) {
        *copy.to = from.asInteger();
    } else {
        *copy.to = from.asBoolean();
    }
}

} // namespace

TomlValue::TomlValue(const TomlValue& other) {
    std::vector<PendingCopy> pending{{&other, this}};
    while (!pending.empty()) {
        const PendingCopy next = pending.back();
        pending.pop_back();
        copyLevel(next, pending);
    }
}

TomlValue& TomlValue::operator=(const TomlValue& other) {
    if (this != &other) {
        *this = TomlValue(other);
    }
    return *this;
}

// Moving hands over containers whole; a container that is overwritten destroys its children one
// by one, each of which clears its own descendants without recursion.
TomlValue::TomlValue(TomlValue&& other) noexcept = default;
TomlValue& TomlValue::operator=(TomlValue&& other) noexcept = default;

TomlValue::~TomlValue() {
    releaseChildren();
}

void TomlValue::releaseChildren() noexcept {
    if (!isArray() && !isTable()) {
        return;
    }
    TomlArray pending;
    moveChildrenTo(pending);
    while (!pending.empty()) {
        TomlValue next = std::move(pending.back());
        pending.pop_back();
        next.moveChildrenTo(pending);
    }
}

/// Only children that have children of their own are moved: the others are destroyed in place.
void TomlValue::moveChildrenTo(TomlArray& pending) noexcept {
    const auto takeIfComposite = [&pending](TomlValue& child) {
        if (child.isArray() || child.isTable()) {
            pending.push_back(std::move(child));
        }
    };
    if (auto* elements = std::get_if<TomlArray>(&held)) {
        for (TomlValue& element : *elements) {
            takeIfComposite(element);
        }
        elements->clear();
    } else if (auto* entries = std::get_if<TomlTable>(&held)) {
        for (auto& entry : *entries) {
            takeIfComposite(entry.value);
        }
        *entries = {};
    }
}

bool TomlValue::isString() const noexcept {
    return std::holds_alternative<std::string>(held);
}

bool TomlValue::isInteger() const noexcept {
    return std::holds_alternative<std::int64_t>(held);
}

bool TomlValue::isBoolean() const noexcept {
    return std::holds_alternative<bool>(held);
}

bool TomlValue::isArray() const noexcept {
    return std::holds_alternative<TomlArray>(held);
}

bool TomlValue::isTable() const noexcept {
    return std::holds_alternative<TomlTable>(held);
}

const std::string& TomlValue::asString() const {
    return std::get<std::string>(held);
}

std::int64_t TomlValue::asInteger() const {
    return std::get<std::int64_t>(held);
}

bool TomlValue::asBoolean() const {
    return std::get<bool>(held);
}

const TomlArray& TomlValue::asArray() const {
    return std::get<TomlArray>(held);
}

TomlArray& TomlValue::asArray() {
    return std::get<TomlArray>(held);
}

const TomlTable& TomlValue::asTable() const {
    return std::get<TomlTable>(held);
}

TomlTable& TomlValue::asTable() {
    return std::get<TomlTable>(held);
}

bool contains(const TomlValue& table, std::string_view key) {
    return find(table, key) != nullptr;
}

const TomlValue* find(const TomlValue& table, std::string_view key) {
    return table.isTable() ? table.asTable().find(key) : nullptr;
}

std::string get_string(const TomlValue& table, std::string_view key,
                       std::string_view defaultValue) {
    const TomlValue* value = find(table, key);
    return value != nullptr && value->isString() ? value->asString() : std::string(defaultValue);
}

bool get_bool(const TomlValue& table, std::string_view key, bool defaultValue) {
    const TomlValue* value = find(table, key);
    return value != nullptr && value->isBoolean() ? value->asBoolean() : defaultValue;
}

} // namespace mos
