#include "resolver/lockfile_reader.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

#include "manifest/toml_reader.h"

namespace mos {
namespace {

/// Takes the first line off `text`; without its line feed, and without a carriage return, which
/// tools that keep versions of files may have added.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

/// `text` as it stands between the quotation marks of a TOML string.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result;
}

/// The line of one name in a list; nothing when it is not as it is written. Names are written as
/// they are, so that a quotation mark may stand in one.
std::optional<std::string> listElement(std::string_view line) {
    constexpr std::string_view indentation = "    ";
    if (!line.starts_with(indentation)) {
        return std::nullopt;
    }
    line.remove_prefix(indentation.size());
    if (!line.starts_with('"') || !line.ends_with('"')) {
        return std::nullopt;
    }
    const auto value = parse_value(line);
    return value ? std::optional(value->asString()) : std::nullopt;
}

/// A list over several lines, put on one. Line feeds follow it, so that the lines behind it keep
/// their numbers.
struct JoinedList {
    std::string text;
    std::string_view rest; ///< what stands behind the list
};

/// The list that `text`, beginning with its head, holds; nothing when it is not as it is written.
std::optional<JoinedList> joinedList(std::string_view text) {
    JoinedList list{std::string(takeLine(text)), {}};
    std::string lineFeeds = "\n\n";
    for (bool isLast = false; !isLast; lineFeeds += '\n') {
        std::string_view line = takeLine(text);
        isLast = !line.ends_with(',');
        if (!isLast) {
            line.remove_suffix(1);
        }
        const auto name = listElement(line);
        if (!name) {
            return std::nullopt;
        }
        list.text.append("\"").append(escaped(*name)).append(isLast ? "\"" : "\",");
    }
    if (takeLine(text) != "]") {
        return std::nullopt;
    }
    list.text.append("]").append(lineFeeds);
    list.rest = text;
    return list;
}

/// `text` with every list that is written over several lines on one line.
std::string withJoinedLists(std::string_view text) {
    std::string joined;
    joined.reserve(text.size());
    while (!text.empty()) {
        std::string_view rest = text;
        const std::string_view line = takeLine(rest);
        if (line == "dependencies = [") {
            if (const auto list = joinedList(text)) {
                joined += list->text;
                text = list->rest;
                continue;
            }
        }
        joined.append(line).append("\n");
        text = rest;
    }
    return joined;
}

/// The string under `key`, empty without the key; nothing when it is something else.
std::optional<std::string> optionalString(const TomlValue& entry, std::string_view key) {
    const TomlValue* value = find(entry, key);
    if (value == nullptr) {
        return "";
    }
    return value->isString() ? std::optional(value->asString()) : std::nullopt;
}

/// The names under "dependencies"; nothing when it is something else than a list of strings.
std::optional<std::vector<std::string>> dependencyNames(const TomlValue& entry) {
    std::vector<std::string> names;
    const TomlValue* list = find(entry, "dependencies");
    if (list == nullptr) {
        return names;
    }
    if (!list->isArray() ||
        !std::ranges::all_of(list->asArray(), [](const auto& name) { return name.isString(); })) {
        return std::nullopt;
    }
    for (const TomlValue& name : list->asArray()) {
        names.push_back(name.asString());
    }
    return names;
}

std::string invalidKey(const std::string& name, const std::string& key) {
    return "Package '" + name + "' has no valid " + key + ".";
}

/// Reads one [[package]] into `package`; why it cannot be read, else an empty text.
std::string readEntry(const TomlValue& entry, ResolvedPackage& package) {
    if (!entry.isTable()) {
        return "Every [[package]] must be a table.";
    }
    package.name = get_string(entry, "name", "");
    if (package.name.empty()) {
        return "A [[package]] has no name.";
    }
    auto version = Version::parse(get_string(entry, "version", ""));
    auto source = optionalString(entry, "source");
    auto checksum = optionalString(entry, "checksum");
    auto dependencies = dependencyNames(entry);
    if (!version) {
        return invalidKey(package.name, "version");
    }
    if (!source) {
        return invalidKey(package.name, "source");
    }
    if (!checksum) {
        return invalidKey(package.name, "checksum");
    }
    if (!dependencies) {
        return invalidKey(package.name, "dependencies");
    }
    package.version = *std::move(version);
    package.source = *std::move(source);
    package.checksum = *std::move(checksum);
    package.dependencies = *std::move(dependencies);
    return "";
}

/// Reads every [[package]]; why one of them cannot be read, else an empty text.
std::string readEntries(const TomlValue& root, std::vector<ResolvedPackage>& packages) {
    const TomlValue* entries = find(root, "package");
    if (entries == nullptr) {
        return "";
    }
    if (!entries->isArray()) {
        return "Every [[package]] must be a table.";
    }
    std::set<std::string> names;
    for (const TomlValue& entry : entries->asArray()) {
        ResolvedPackage package;
        std::string reason = readEntry(entry, package);
        if (!reason.empty()) {
            return reason;
        }
        if (!names.insert(package.name).second) {
            return "Package '" + package.name + "' is locked twice.";
        }
        packages.push_back(std::move(package));
    }
    return "";
}

} // namespace

std::optional<Lockfile> readLockfile(std::string_view text, std::string& error) {
    const auto root = parse(withJoinedLists(text), &error);
    if (!root) {
        return std::nullopt;
    }
    Lockfile lockfile;
    if (const TomlValue* version = find(*root, "version");
        version != nullptr && version->isInteger()) {
        lockfile.version = static_cast<std::int32_t>(version->asInteger());
    }
    error = readEntries(*root, lockfile.packages);
    return error.empty() ? std::optional(std::move(lockfile)) : std::nullopt;
}

} // namespace mos
