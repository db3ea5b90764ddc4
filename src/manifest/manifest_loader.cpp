#include "manifest/manifest_loader.h"

#include <utility>

#include "manifest/package_name.h"
#include "manifest/toml_reader.h"
#include "platform/failure.h"
#include "platform/file_system.h"

namespace mos {
namespace {

const TomlValue* findTable(const TomlValue& parent, std::string_view key) {
    const TomlValue* value = find(parent, key);
    return value != nullptr && value->isTable() ? value : nullptr;
}

/// Appends the strings of the array under `key`; other elements are skipped.
void readStrings(const TomlValue& table, std::string_view key, std::vector<std::string>& strings) {
    const TomlValue* value = find(table, key);
    if (value == nullptr || !value->isArray()) {
        return;
    }
    for (const TomlValue& element : value->asArray()) {
        if (element.isString()) {
            strings.push_back(element.asString());
        }
    }
}

void readString(const TomlValue& table, std::string_view key, std::string& text) {
    text = get_string(table, key, text);
}

/// Reads [package]. Returns the message of a failure, else an empty text.
std::string readPackage(const TomlValue& package, Manifest& manifest) {
    if (!package.isTable()) {
        return "The [package] section must be a table.";
    }
    manifest.name = get_string(package, "name", "");
    std::string reason;
    if (!validate_package_name(manifest.name, &reason)) {
        return "Invalid package name '" + manifest.name + "': " + reason;
    }
    const std::string versionText = get_string(package, "version", "0.1.0");
    auto version = Version::parse(versionText);
    if (!version) {
        return "Invalid package version '" + versionText + "'.";
    }
    manifest.version = *std::move(version);
    readString(package, "edition", manifest.edition);
    readString(package, "description", manifest.description);
    readString(package, "license", manifest.license);
    readString(package, "repository", manifest.repository);
    readString(package, "homepage", manifest.homepage);
    readString(package, "readme", manifest.readme);
    readStrings(package, "authors", manifest.authors);
    readStrings(package, "keywords", manifest.keywords);
    readStrings(package, "categories", manifest.categories);
    return {};
}

void readDependencies(const TomlValue& root, std::string_view key, DependencyTable& dependencies) {
    const TomlValue* table = findTable(root, key);
    if (table == nullptr) {
        return;
    }
    dependencies.reserve(table->asTable().size());
    for (const auto& entry : table->asTable()) {
        if (auto spec = parse_dependency_spec(entry.key, entry.value)) {
            dependencies.assign(entry.key, *std::move(spec));
        }
    }
}

void readBuild(const TomlValue& root, Manifest& manifest) {
    const TomlValue* build = findTable(root, "build");
    if (build == nullptr) {
        return;
    }
    readString(*build, "entry", manifest.entry);
    if (const TomlValue* release = findTable(*build, "release")) {
        manifest.optimize = get_bool(*release, "optimize", false);
    }
}

VersionConstraint constraintOrAny(std::string_view text) {
    auto constraint = VersionConstraint::parse(text);
    return constraint ? *std::move(constraint) : VersionConstraint::any();
}

} // namespace

std::optional<DependencySpec> parse_dependency_spec(std::string_view name, const TomlValue& value) {
    if (!value.isString() && !value.isTable()) {
        return std::nullopt;
    }
    if (value.isString()) {
        return DependencySpec{std::string(name),
                              constraintOrAny(value.asString()),
                              DependencySource::Registry,
                              {},
                              {},
                              {},
                              {},
                              {}};
    }
    std::optional<DependencySpec> spec(std::in_place);
    spec->name = name;
    if (contains(value, "path")) {
        spec->source = DependencySource::Path;
        spec->path = get_string(value, "path", "");
    } else if (contains(value, "git")) {
        spec->source = DependencySource::Git;
        spec->git = get_string(value, "git", "");
        spec->branch = get_string(value, "branch", "");
        spec->tag = get_string(value, "tag", "");
        spec->rev = get_string(value, "rev", "");
    }
    if (contains(value, "version")) {
        spec->constraint = constraintOrAny(get_string(value, "version", ""));
    }
    return spec;
}

std::optional<Manifest> parse_manifest(std::string_view text, std::string* error) {
    const auto root = parse(text, error);
    if (!root) {
        return std::nullopt;
    }
    Manifest manifest;
    if (const TomlValue* workspace = find(*root, "workspace")) {
        manifest.is_workspace = true;
        readStrings(*workspace, "members", manifest.workspace_members);
    }
    if (const TomlValue* package = find(*root, "package")) {
        std::string message = readPackage(*package, manifest);
        if (!message.empty()) {
            fail(error, std::move(message));
            return std::nullopt;
        }
    } else if (!manifest.is_workspace) {
        fail(error, "Manifest must contain either [package] or [workspace] section.");
        return std::nullopt;
    }
    readDependencies(*root, "dependencies", manifest.dependencies);
    readDependencies(*root, "dev-dependencies", manifest.dev_dependencies);
    readDependencies(*root, "build-dependencies", manifest.build_dependencies);
    readBuild(*root, manifest);
    return manifest;
}

std::optional<Manifest> load_manifest(const std::filesystem::path& path, std::string* error) {
    const auto text = readFile(path);
    if (!text) {
        fail(error, "Could not open manifest file: " + path.string());
        return std::nullopt;
    }
    return parse_manifest(*text, error);
}

} // namespace mos
