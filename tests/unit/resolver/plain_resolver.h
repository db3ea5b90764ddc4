#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "manifest/manifest.h"
#include "resolver/lockfile.h"
#include "resolver/package_source.h"

namespace mos {

/// The resolution rules written down as plainly as possible: recursion, copies, no memory of what
/// was asked. Slow, and obviously right; the resolver is compared with it.
class PlainResolver {
public:
    /// "name version checksum: dependencies" lines in the order of selection, or the message of the
    /// failure; nothing when that takes more than `mostSteps`.
    static std::optional<std::string> resolve(IPackageSource& source, const Manifest& manifest,
                                              const Lockfile* lockfile,
                                              std::size_t mostSteps = SIZE_MAX) {
        PlainResolver resolver{source, mostSteps};
        const std::string root = manifest.name.empty() ? "project" : manifest.name;
        Selection selected;
        if (lockfile != nullptr) {
            resolver.seed(manifest, *lockfile, root, selected);
        }
        std::vector<Item> queue;
        for (const auto& entry : manifest.dependencies) {
            queue.push_back({entry.key, entry.value.constraint});
        }
        std::vector<std::string> path{root};
        std::string error;
        const bool solved = resolver.step(queue, selected, path, error);
        if (resolver.stepsLeft == 0) {
            return std::nullopt;
        }
        if (!solved) {
            return "error: " + error;
        }
        std::string text;
        for (const Selected& package : selected) {
            text += package.name + " " + package.version.to_string() + " " + package.checksum + ":";
            for (const auto& entry : package.dependencies) {
                text += " " + entry.key;
            }
            text += "\n";
        }
        return text;
    }

private:
    struct Item {
        std::string name;
        VersionConstraint constraint;
    };
    struct Selected {
        std::string name;
        Version version;
        std::string checksum;
        DependencyTable dependencies;
        std::string requiredBy;
        VersionConstraint constraint;
    };
    using Selection = std::vector<Selected>;

    PlainResolver(IPackageSource& packageSource, std::size_t mostSteps)
        : source(packageSource), stepsLeft(mostSteps) {}

    static Selected* find(Selection& selected, const std::string& name) {
        const auto found = std::ranges::find(selected, name, &Selected::name);
        return found == selected.end() ? nullptr : &*found;
    }

    void seed(const Manifest& manifest, const Lockfile& lockfile, const std::string& root,
              Selection& selected) {
        for (const ResolvedPackage& locked : lockfile.packages) {
            const DependencySpec* spec = manifest.dependencies.find(locked.name);
            if (spec == nullptr || !spec->constraint.matches(locked.version)) {
                continue;
            }
            const VersionMetadata metadata = source.versionMetadata(locked.name, locked.version);
            if (!metadata.found) {
                continue;
            }
            const Selected entry{locked.name,           locked.version, locked.checksum,
                                 metadata.dependencies, root,           spec->constraint};
            if (Selected* earlier = find(selected, locked.name)) {
                *earlier = entry;
            } else {
                selected.push_back(entry);
            }
        }
    }

    bool step(const std::vector<Item>& queue, Selection& selected, std::vector<std::string>& path,
              std::string& error) {
        if (queue.empty()) {
            return true;
        }
        if (stepsLeft <= 1) {
            stepsLeft = 0;
            return false;
        }
        --stepsLeft;
        const Item item = queue.front();
        const std::vector<Item> rest(queue.begin() + 1, queue.end());
        if (const Selected* known = find(selected, item.name)) {
            if (item.constraint.matches(known->version)) {
                return step(rest, selected, path, error);
            }
            error = "dependency conflict for '" + item.name + "':\n" + "  " + known->requiredBy +
                    " requires: " + item.name + " " + known->constraint.to_string() +
                    " (selected: " + known->version.to_string() + ")\n" + "  " + path.back() +
                    " requires: " + item.name + " " + item.constraint.to_string() + "\n" +
                    "No compatible version was found.";
            return false;
        }
        if (std::ranges::find(path, item.name) != path.end()) {
            error = "Cyclic dependency detected: ";
            for (const std::string& name : path) {
                error += name + " -> ";
            }
            error += item.name;
            return false;
        }
        std::vector<Version> versions = source.availableVersions(item.name);
        if (versions.empty()) {
            error = "package '" + item.name + "' was not found in registry or local sources";
            return false;
        }
        std::ranges::stable_sort(versions, [](const auto& a, const auto& b) { return b < a; });
        std::vector<Version> candidates;
        for (const Version& version : versions) {
            if (item.constraint.matches(version)) {
                candidates.push_back(version);
            }
        }
        if (candidates.empty()) {
            error = "no available version of '" + item.name + "' matches constraint '" +
                    item.constraint.to_string() + "'.\nAvailable versions: ";
            for (std::size_t i = 0; i < versions.size() && i < 5; ++i) {
                error += (i == 0 ? "" : ", ") + versions[i].to_string();
            }
            error += versions.size() > 5 ? ", ..." : "";
            return false;
        }
        for (const Version& version : candidates) {
            const VersionMetadata metadata = source.versionMetadata(item.name, version);
            if (!metadata.found) {
                continue;
            }
            selected.push_back({item.name, version, metadata.checksum, metadata.dependencies,
                                path.back(), item.constraint});
            path.push_back(item.name);
            std::vector<Item> next = rest;
            for (const auto& entry : metadata.dependencies) {
                next.push_back({entry.key, entry.value.constraint});
            }
            std::string inner;
            if (step(next, selected, path, inner)) {
                return true;
            }
            path.pop_back();
            selected.pop_back();
            error = inner;
        }
        return false;
    }

    IPackageSource& source;
    std::size_t stepsLeft; ///< 0: given up
};

} // namespace mos
