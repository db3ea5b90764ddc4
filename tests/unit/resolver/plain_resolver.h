#pragma once

#include <algorithm>
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
    /// "name version" lines in the order of selection, or the message of the failure.
    static std::string resolve(IPackageSource& source, const Manifest& manifest,
                               const Lockfile* lockfile) {
        PlainResolver resolver{source};
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
        if (!resolver.step(queue, selected, path, error)) {
            return "error: " + error;
        }
        std::string text;
        for (const Selected& package : selected) {
            text += package.name + " " + package.version.to_string() + "\n";
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
        std::string requiredBy;
        VersionConstraint constraint;
    };
    using Selection = std::vector<Selected>;

    explicit PlainResolver(IPackageSource& packageSource) : source(packageSource) {}

    static Selected* find(Selection& selected, const std::string& name) {
        const auto found = std::ranges::find(selected, name, &Selected::name);
        return found == selected.end() ? nullptr : &*found;
    }

    void seed(const Manifest& manifest, const Lockfile& lockfile, const std::string& root,
              Selection& selected) {
        for (const ResolvedPackage& locked : lockfile.packages) {
            const DependencySpec* spec = manifest.dependencies.find(locked.name);
            if (spec == nullptr || !spec->constraint.matches(locked.version) ||
                !source.versionMetadata(locked.name, locked.version).found) {
                continue;
            }
            const Selected entry{locked.name, locked.version, root, spec->constraint};
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
            selected.push_back({item.name, version, path.back(), item.constraint});
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
};

} // namespace mos
