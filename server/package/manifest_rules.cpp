#include "server/package/manifest_rules.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "manifest/manifest_loader.h"
#include "manifest/package_name.h"
#include "manifest/toml_reader.h"
#include "platform/windows_device.h"
#include "server/package/published_text.h"

namespace mos::server {
namespace {

constexpr std::size_t longestVersion = 64;
constexpr std::size_t longestConstraint = 200;
constexpr std::size_t longestDescription = 1000;
constexpr std::size_t longestLicense = 100;
constexpr std::size_t mostDependencies = 1000;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isIdentifierCharacter(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
}

/// An identifier of a pre-release (SemVer 2.0.0, 9) that can be compared with every other one.
bool isIdentifier(const std::string& text) {
    if (text.empty() || !std::ranges::all_of(text, isIdentifierCharacter)) {
        return false;
    }
    if (!std::ranges::all_of(text, isDigit)) {
        return true;
    }
    std::uint64_t number = 0;
    const bool fits =
        std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc{};
    return fits && (text.size() == 1 || text.front() != '0');
}

std::string refusalOfVersion(const Version& version) {
    const std::string text = version.to_string();
    if (!version.build.empty()) {
        return "build metadata cannot be published: " + publishedText(text);
    }
    if (text.size() > longestVersion || !std::ranges::all_of(version.prerelease, isIdentifier)) {
        return "the version '" + publishedText(text) + "' cannot be published";
    }
    return {};
}

bool isConstraintCharacter(char c) {
    return c >= 0x20 && c < 0x7f && std::string_view("\"\\[]{}").find(c) == std::string_view::npos;
}

bool isConstraint(const std::string& text) {
    const auto constraint = VersionConstraint::parse(text);
    return constraint && text.size() <= longestConstraint &&
           std::ranges::all_of(text, isConstraintCharacter) &&
           std::ranges::all_of(constraint->comparators, [](const Comparator& comparator) {
               return std::ranges::all_of(comparator.version.prerelease, isIdentifier);
           });
}

/// The text of a dependency's constraint, however its entry is written; nothing when the entry says
/// something else than a version.
std::optional<std::string> constraintText(const TomlValue& entry) {
    if (entry.isString()) {
        return entry.asString();
    }
    const TomlValue* const version = find(entry, "version");
    if (version == nullptr) {
        return entry.isTable() ? std::optional<std::string>("*") : std::nullopt;
    }
    return version->isString() ? std::optional(version->asString()) : std::nullopt;
}

/// Takes one entry into the record; the reason when it is refused.
std::string takeDependency(const std::string& name, const TomlValue& entry, PackageRecord& record) {
    const std::string shown = "the dependency '" + publishedText(name.substr(0, 100)) + "'";
    if (!validate_package_name(name, nullptr)) {
        return shown + " has a name that no package may have";
    }
    const auto spec = parse_dependency_spec(name, entry);
    if (spec && spec->source != DependencySource::Registry) {
        return shown + " is not one of the registry";
    }
    const auto constraint = constraintText(entry);
    if (!constraint || !isConstraint(*constraint)) {
        return shown + " has no valid version constraint";
    }
    record.dependencies.push_back({name, VersionConstraint::parse(*constraint)->to_string()});
    return {};
}

std::string takeDependencies(std::string_view manifest, PackageRecord& record) {
    const auto root = parse(manifest, nullptr);
    const TomlValue* const table = root ? find(*root, "dependencies") : nullptr;
    if (table == nullptr) {
        return {};
    }
    if (!table->isTable() || table->asTable().size() > mostDependencies) {
        return "[dependencies] must be a table of at most " + std::to_string(mostDependencies) +
               " packages";
    }
    for (const auto& entry : table->asTable()) {
        if (std::string refusal = takeDependency(entry.key, entry.value, record);
            !refusal.empty()) {
            return refusal;
        }
    }
    return {};
}

ManifestReading refused(std::string_view reason) {
    return {std::nullopt, publishedText(reason)};
}

} // namespace

ManifestReading readPublishedManifest(std::string_view text) {
    std::string error;
    auto manifest = parse_manifest(text, &error);
    if (!manifest) {
        return refused("moss.toml: " + error.substr(0, 300));
    }
    if (manifest->name.empty()) {
        return refused("a workspace without a package cannot be published");
    }
    if (isWindowsDevice(manifest->name)) {
        return refused("the package name '" + manifest->name + "' is that of a device on Windows");
    }
    PackageRecord record{manifest->name,
                         manifest->version,
                         publishedText(manifest->description),
                         publishedText(manifest->license),
                         {}};
    if (std::string refusal = refusalOfVersion(record.version); !refusal.empty()) {
        return refused(refusal);
    }
    if (record.description.size() > longestDescription || record.license.size() > longestLicense) {
        return refused("the description may have " + std::to_string(longestDescription) +
                       " bytes and the license " + std::to_string(longestLicense));
    }
    if (std::string refusal = takeDependencies(text, record); !refusal.empty()) {
        return refused(refusal);
    }
    return {std::move(record), {}};
}

std::string foldedName(std::string_view name) {
    std::string text(name);
    for (char& c : text) {
        c = c == '_' ? '-' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

} // namespace mos::server
