#include "manifest/manifest_writer.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "manifest/toml_line.h"
#include "platform/file_replacement.h"

namespace mos {
namespace {

/// Deliberate: no escaping. A value that holds a double quote does not load back.
std::string inQuotes(std::string_view text) {
    return std::string("\"").append(text).append("\"");
}

std::string quotedList(const std::vector<std::string>& texts) {
    std::string list = "[";
    for (const std::string& text : texts) {
        list.append(list.size() == 1 ? "" : ", ").append(inQuotes(text));
    }
    return list.append("]");
}

std::string optionalLine(std::string_view key, std::string_view value) {
    return value.empty() ? std::string() : tomlLine(key, value);
}

std::string workspaceBlock(const Manifest& manifest) {
    if (!manifest.is_workspace) {
        return {};
    }
    return "[workspace]\nmembers = " + quotedList(manifest.workspace_members) + "\n\n";
}

/// Deliberate: `keywords` and `categories` are not written.
std::string packageBlock(const Manifest& manifest) {
    if (manifest.name.empty()) {
        return {};
    }
    std::string block = "[package]\n";
    block += tomlLine("name", manifest.name);
    block += tomlLine("version", manifest.version.to_string());
    block += tomlLine("edition", manifest.edition);
    block += optionalLine("description", manifest.description);
    if (!manifest.authors.empty()) {
        block += "authors = " + quotedList(manifest.authors) + "\n";
    }
    block += optionalLine("license", manifest.license);
    block += optionalLine("repository", manifest.repository);
    block += optionalLine("homepage", manifest.homepage);
    block += optionalLine("readme", manifest.readme);
    return block + "\n";
}

std::string gitLine(const std::string& name, const DependencySpec& spec) {
    std::string line = name + " = { git = " + inQuotes(spec.git);
    const auto append = [&line](std::string_view key, const std::string& value) {
        if (!value.empty()) {
            line.append(", ").append(key).append(" = ").append(inQuotes(value));
        }
    };
    append("branch", spec.branch);
    append("tag", spec.tag);
    append("rev", spec.rev);
    return line + " }\n";
}

std::string dependencyLine(const std::string& name, const DependencySpec& spec) {
    switch (spec.source) {
    case DependencySource::Path:
        return name + " = { path = " + inQuotes(spec.path) + " }\n";
    case DependencySource::Git:
        return gitLine(name, spec);
    case DependencySource::Registry:
        break;
    }
    const bool plain = spec.path.empty() && spec.git.empty();
    return plain ? tomlLine(name, spec.constraint.to_string()) : std::string();
}

std::string dependencyBlock(std::string_view section, const DependencyTable& dependencies) {
    if (dependencies.empty()) {
        return {};
    }
    std::vector<const DependencyTable::Entry*> sorted;
    for (const auto& entry : dependencies) {
        sorted.push_back(&entry);
    }
    std::ranges::sort(sorted, {}, [](const auto* entry) { return std::string_view(entry->key); });
    std::string block = std::string("[").append(section).append("]\n");
    for (const auto* entry : sorted) {
        block += dependencyLine(entry->key, entry->value);
    }
    return block + "\n";
}

std::string buildBlock(const Manifest& manifest) {
    if (manifest.entry == "src/main.moss" && !manifest.optimize) {
        return {};
    }
    return "[build]\n" + tomlLine("entry", manifest.entry) +
           (manifest.optimize ? "\n[build.release]\noptimize = true\n" : "");
}

} // namespace

std::string manifest_to_string(const Manifest& manifest) {
    return workspaceBlock(manifest) + packageBlock(manifest) +
           dependencyBlock("dependencies", manifest.dependencies) +
           dependencyBlock("dev-dependencies", manifest.dev_dependencies) +
           dependencyBlock("build-dependencies", manifest.build_dependencies) +
           buildBlock(manifest);
}

bool save_manifest(const Manifest& manifest, const std::filesystem::path& path) {
    return replaceFile(path, manifest_to_string(manifest));
}

} // namespace mos
