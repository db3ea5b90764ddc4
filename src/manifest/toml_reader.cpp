#include "manifest/toml_reader.h"

#include <utility>

#include "semver/trim.h"

namespace mos {
namespace {

/// `line` up to the first "#" outside double quotes. A quote behind a backslash does not count.
std::string_view withoutComment(std::string_view line) {
    if (line.find('#') == std::string_view::npos) {
        return line;
    }
    bool inString = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"' && (i == 0 || line[i - 1] != '\\')) {
            inString = !inString;
        } else if (line[i] == '#' && !inString) {
            return line.substr(0, i);
        }
    }
    return line;
}

bool isArrayOfTablesHeader(std::string_view line) {
    return line.size() >= 4 && line.starts_with("[[") && line.ends_with("]]");
}

bool isTableHeader(std::string_view line) {
    return line.size() >= 2 && line.starts_with('[') && line.ends_with(']');
}

/// The table in `value`; whatever else it held is lost.
TomlTable& madeTable(TomlValue& value) {
    if (!value.isTable()) {
        value = TomlTable{};
    }
    return value.asTable();
}

/// The document while its lines are read. Every operation gives a message on failure, else an
/// empty text.
class Document {
public:
    [[nodiscard]] std::string readLine(std::string_view line) {
        if (isArrayOfTablesHeader(line)) {
            return openArrayElement(trim(line.substr(2, line.size() - 4)));
        }
        if (isTableHeader(line)) {
            openTable(line.substr(1, line.size() - 2));
            return {};
        }
        return readStatement(line);
    }

    [[nodiscard]] TomlValue take() { return std::move(root); }

private:
    /// Deliberate: the name is one key of the root, dots or not.
    std::string openArrayElement(std::string_view name) {
        TomlTable& table = root.asTable();
        TomlValue* array = table.find(name);
        if (array == nullptr) {
            array = &table.assign(std::string(name), TomlArray{});
        }
        if (!array->isArray()) {
            return std::string("Expected array of tables for ").append(name);
        }
        array->asArray().emplace_back(TomlTable{});
        current = &array->asArray().back();
        return {};
    }

    /// Deliberate: dots split inside quotes too, and empty pieces are dropped.
    void openTable(std::string_view name) {
        current = &root;
        while (!name.empty()) {
            const std::size_t dot = name.find('.');
            const std::string_view piece = trim(name.substr(0, dot));
            name = dot == std::string_view::npos ? std::string_view{} : name.substr(dot + 1);
            if (piece.empty()) {
                continue;
            }
            TomlTable& table = madeTable(*current);
            TomlValue* child = table.find(piece);
            current = child != nullptr ? child : &table.assign(std::string(piece), TomlTable{});
        }
    }

    std::string readStatement(std::string_view line) {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            return std::string("Expected '=' in statement: ").append(line);
        }
        const std::string_view key = trim(line.substr(0, equals));
        const std::string_view valueText = trim(line.substr(equals + 1));
        auto value = parse_value(valueText);
        if (!value) {
            return std::string("Failed to parse value for key '")
                .append(key)
                .append("': ")
                .append(valueText);
        }
        madeTable(*current).assign(std::string(key), *std::move(value));
        return {};
    }

    TomlValue root{TomlTable{}};
    // Valid until the next header: only headers insert above the current table.
    TomlValue* current = &root;
};

} // namespace

std::optional<TomlValue> parse(std::string_view text, std::string* error) {
    Document document;
    std::size_t lineNumber = 0;
    while (!text.empty()) {
        const std::size_t lineEnd = text.find('\n');
        const std::string_view line = trim(withoutComment(text.substr(0, lineEnd)));
        text = lineEnd == std::string_view::npos ? std::string_view{} : text.substr(lineEnd + 1);
        ++lineNumber;
        if (line.empty()) {
            continue;
        }
        const std::string message = document.readLine(line);
        if (!message.empty()) {
            if (error != nullptr) {
                *error = "Line " + std::to_string(lineNumber) + ": " + message;
            }
            return std::nullopt;
        }
    }
    return document.take();
}

} // namespace mos
