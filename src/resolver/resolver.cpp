// A depth-first search with chronological backtracking over a first-in-first-out queue of
// requirements.
//
// The next requirement is taken from the front of the queue. When its package is already selected,
// the selected version satisfies it, or the attempt has failed. Otherwise the published versions
// that satisfy it are tried, highest first: the version is selected and its own requirements go to
// the back of the queue. After a failure the most recent selection is undone and its next version
// is tried. The failure that is reported is the last one met.
//
// The queue is one list that never loses its front: requirements before `head` are done. Undoing a
// selection cuts the list back to its length before the selection and sets `head` back, so neither
// queue nor selections are ever copied. A package knows by itself whether it is selected. Hence a
// step costs the same however many packages are selected, and the search takes no stack. The
// number of attempts is exponential in the worst case.
#include "resolver/resolver.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "cli/mos_exception.h"

namespace mos {
namespace {

constexpr std::size_t listedVersions = 5;

struct Package;

/// One pending requirement.
struct WorkItem {
    Package* package;
    const VersionConstraint* constraint;
};

/// What the source said of one version, its dependencies already looked up.
struct Metadata {
    VersionMetadata described;
    std::vector<WorkItem> requirements;
};

/// A version that was chosen for a package.
struct SelectedPackage {
    Version version;
    std::string source;
    std::string checksum;
    const Metadata* metadata;
    const std::string* requiredBy; ///< name of the package that was chosen just before
    const VersionConstraint* constraint;
};

/// All that is known of one name.
struct Package {
    std::string name;
    std::optional<SelectedPackage> selected;
    std::optional<std::vector<Version>> versions; ///< descending; absent until asked for
    std::unordered_map<std::string, std::optional<Metadata>> metadata; ///< by version text
};

// A failure keeps references: its words are needed only once, at the end. All it refers to lives
// as long as the search, except the selection that a conflict met, which is copied in part.

struct NoFailure {};

struct Conflict {
    const Package* package;
    Version selectedVersion;
    const std::string* selectedBy;
    const VersionConstraint* selectedConstraint;
    const std::string* requiredBy;
    const VersionConstraint* constraint;
};

struct Cycle {
    const Package* package;
    std::size_t pathLength; ///< of the selection path, which is not written to before the end
};

struct UnknownPackage {
    const Package* package;
};

struct NoMatch {
    const Package* package;
    const VersionConstraint* constraint;
};

using Failure = std::variant<NoFailure, Conflict, Cycle, UnknownPackage, NoMatch>;

/// A package for which versions are being tried.
struct Choice {
    std::size_t head;                   ///< queue position of the requirement
    std::size_t queueSize;              ///< length of the queue before the selection
    std::vector<std::uint32_t> untried; ///< indexes into the package's versions, lowest first
    bool attempted = false;             ///< a version with metadata has been tried
};

class Search {
public:
    Search(IPackageSource& packageSource, const Manifest& manifest)
        : source(packageSource), rootName(manifest.name.empty() ? "project" : manifest.name) {
        for (const auto& entry : manifest.dependencies) {
            queue.push_back({&packageNamed(entry.key), &entry.value.constraint});
        }
    }

    void seed(const Manifest& manifest, const Lockfile& lockfile);
    [[nodiscard]] bool run();
    [[nodiscard]] std::string failureMessage() const;
    [[nodiscard]] Resolution resolution(const Manifest& manifest) const;

private:
    enum class Step { Satisfied, Choose, Failed };

    Package& packageNamed(const std::string& name);
    const std::vector<Version>& versionsOf(Package& package);
    const Metadata* metadataOf(Package& package, const Version& version);
    const std::string& lastOnPath() const;

    Step examine(const WorkItem& item);
    void openChoice(const WorkItem& item);
    bool selectNext(Choice& choice);
    bool advance();
    void undo(const Choice& choice);

    std::string message(NoFailure none) const;
    std::string message(const Conflict& conflict) const;
    std::string message(const Cycle& cycle) const;
    static std::string message(const UnknownPackage& unknown);
    static std::string message(const NoMatch& noMatch);

    IPackageSource& source;
    std::string rootName;
    std::deque<Package> packages; // never moves its elements
    std::unordered_map<std::string_view, Package*> packagesByName;
    std::vector<Package*> seeds;
    std::vector<WorkItem> queue;
    std::size_t head = 0;
    std::vector<Choice> choices;
    // The packages chosen so far. Behind the current length (the number of choices) it still holds
    // the path of the last failure, from which the message of a cycle is made.
    std::vector<const Package*> path;
    std::size_t pathLength = 0;
    Failure failure;
};

Package& Search::packageNamed(const std::string& name) {
    if (const auto found = packagesByName.find(name); found != packagesByName.end()) {
        return *found->second;
    }
    Package& package = packages.emplace_back();
    package.name = name;
    packagesByName.emplace(package.name, &package);
    return package;
}

const std::vector<Version>& Search::versionsOf(Package& package) {
    if (!package.versions) {
        package.versions = source.availableVersions(package.name);
        std::ranges::stable_sort(*package.versions, std::ranges::greater{});
    }
    return *package.versions;
}

const Metadata* Search::metadataOf(Package& package, const Version& version) {
    const auto [place, isNew] = package.metadata.try_emplace(version.to_string());
    std::optional<Metadata>& known = place->second;
    if (isNew) {
        VersionMetadata described = source.versionMetadata(package.name, version);
        if (described.found) {
            known.emplace(Metadata{std::move(described), {}});
            for (const auto& entry : known->described.dependencies) {
                known->requirements.push_back({&packageNamed(entry.key), &entry.value.constraint});
            }
        }
    }
    return known ? &*known : nullptr;
}

const std::string& Search::lastOnPath() const {
    return pathLength == 0 ? rootName : path[pathLength - 1]->name;
}

std::string lockedSource(const ResolvedPackage& locked, const VersionMetadata& metadata) {
    const bool local = locked.source.starts_with("local+");
    return local && !metadata.source.empty() ? metadata.source : locked.source;
}

/// A checksum with "mock" in it is a placeholder until a real one is known.
std::string lockedChecksum(const ResolvedPackage& locked, const VersionMetadata& metadata) {
    const bool placeholder = locked.checksum.find("mock") != std::string::npos;
    if (placeholder && !metadata.checksum.empty()) {
        return metadata.checksum;
    }
    return locked.checksum.empty() ? metadata.checksum : locked.checksum;
}

/// Selects the locked versions of direct dependencies. Deliberate: what they require is not
/// queued, so a package that only they need is not part of the result.
void Search::seed(const Manifest& manifest, const Lockfile& lockfile) {
    for (const ResolvedPackage& locked : lockfile.packages) {
        const DependencySpec* spec = manifest.dependencies.find(locked.name);
        if (spec == nullptr || !spec->constraint.matches(locked.version)) {
            continue;
        }
        Package& package = packageNamed(locked.name);
        const Metadata* metadata = metadataOf(package, locked.version);
        if (metadata == nullptr) {
            continue;
        }
        if (!package.selected) {
            seeds.push_back(&package);
        }
        package.selected = SelectedPackage{locked.version,
                                           lockedSource(locked, metadata->described),
                                           lockedChecksum(locked, metadata->described),
                                           metadata,
                                           &rootName,
                                           &spec->constraint};
    }
}

bool Search::run() {
    while (head < queue.size()) {
        const WorkItem item = queue[head];
        const Step step = examine(item);
        if (step == Step::Satisfied) {
            ++head;
            continue;
        }
        if (step == Step::Choose) {
            openChoice(item);
        }
        if (!advance()) {
            return false;
        }
    }
    return true;
}

Search::Step Search::examine(const WorkItem& item) {
    const Package& package = *item.package;
    if (package.selected) {
        const SelectedPackage& selected = *package.selected;
        if (item.constraint->matches(selected.version)) {
            return Step::Satisfied;
        }
        failure =
            Conflict{&package,      selected.version, selected.requiredBy, selected.constraint,
                     &lastOnPath(), item.constraint};
        return Step::Failed;
    }
    // Every chosen package is selected, so the path can hold an unselected name only as the root.
    if (package.name == rootName) {
        failure = Cycle{&package, pathLength};
        return Step::Failed;
    }
    return Step::Choose;
}

/// Prepares the versions to be tried. Without any, no choice is opened and the attempt has failed.
void Search::openChoice(const WorkItem& item) {
    Package& package = *item.package;
    const std::vector<Version>& versions = versionsOf(package);
    if (versions.empty()) {
        failure = UnknownPackage{&package};
        return;
    }
    Choice choice{head, queue.size(), {}};
    for (std::size_t i = versions.size(); i-- > 0;) {
        if (item.constraint->matches(versions[i])) {
            choice.untried.push_back(static_cast<std::uint32_t>(i));
        }
    }
    if (choice.untried.empty()) {
        failure = NoMatch{&package, item.constraint};
        return;
    }
    choices.push_back(std::move(choice));
}

/// Goes on with the next version of the most recent choice that has one; false at the end of the
/// search.
bool Search::advance() {
    while (!choices.empty()) {
        Choice& choice = choices.back();
        undo(choice);
        if (selectNext(choice)) {
            return true;
        }
        if (!choice.attempted) {
            // No version of this package could be described: a failure without words.
            failure = NoFailure{};
        }
        choices.pop_back();
    }
    return false;
}

bool Search::selectNext(Choice& choice) {
    const WorkItem item = queue[choice.head];
    while (!choice.untried.empty()) {
        const Version& version = (*item.package->versions)[choice.untried.back()];
        choice.untried.pop_back();
        const Metadata* metadata = metadataOf(*item.package, version);
        if (metadata == nullptr) {
            continue;
        }
        item.package->selected = SelectedPackage{version,
                                                 metadata->described.source,
                                                 metadata->described.checksum,
                                                 metadata,
                                                 &lastOnPath(),
                                                 item.constraint};
        path.resize(pathLength);
        path.push_back(item.package);
        ++pathLength;
        queue.insert(queue.end(), metadata->requirements.begin(), metadata->requirements.end());
        head = choice.head + 1;
        choice.attempted = true;
        return true;
    }
    return false;
}

void Search::undo(const Choice& choice) {
    Package& package = *queue[choice.head].package;
    if (package.selected) {
        package.selected.reset();
        --pathLength;
        queue.resize(choice.queueSize);
    }
}

std::string Search::failureMessage() const {
    return std::visit([this](const auto& met) { return message(met); }, failure);
}

std::string Search::message(NoFailure /*none*/) const {
    return {};
}

/// Deliberate: the package chosen last is named as the requirer, whether or not it is.
std::string Search::message(const Conflict& conflict) const {
    const std::string& name = conflict.package->name;
    return "dependency conflict for '" + name + "':\n  " + *conflict.selectedBy +
           " requires: " + name + " " + conflict.selectedConstraint->to_string() +
           " (selected: " + conflict.selectedVersion.to_string() + ")\n  " + *conflict.requiredBy +
           " requires: " + name + " " + conflict.constraint->to_string() +
           "\nNo compatible version was found.";
}

/// Deliberate: the whole selection path, not only the ancestors.
std::string Search::message(const Cycle& cycle) const {
    std::string text = "Cyclic dependency detected: " + rootName + " -> ";
    for (std::size_t i = 0; i < cycle.pathLength; ++i) {
        text.append(path[i]->name).append(" -> ");
    }
    return text + cycle.package->name;
}

std::string Search::message(const UnknownPackage& unknown) {
    return "package '" + unknown.package->name + "' was not found in registry or local sources";
}

std::string Search::message(const NoMatch& noMatch) {
    const std::vector<Version>& versions = *noMatch.package->versions;
    std::string text = "no available version of '" + noMatch.package->name +
                       "' matches constraint '" + noMatch.constraint->to_string() +
                       "'.\nAvailable versions: ";
    const std::size_t listed = std::min(versions.size(), listedVersions);
    for (std::size_t i = 0; i < listed; ++i) {
        text.append(i == 0 ? "" : ", ").append(versions[i].to_string());
    }
    return versions.size() > listed ? text + ", ..." : text;
}

ResolvedPackage resolvedPackage(const Package& package) {
    const SelectedPackage& selected = *package.selected;
    ResolvedPackage resolved;
    resolved.name = package.name;
    resolved.version = selected.version;
    resolved.source = selected.source;
    resolved.checksum = selected.checksum;
    for (const auto& entry : selected.metadata->described.dependencies) {
        resolved.dependencies.push_back(entry.key);
    }
    return resolved;
}

Resolution Search::resolution(const Manifest& manifest) const {
    Resolution result;
    result.root = rootName;
    for (const auto& entry : manifest.dependencies) {
        result.rootDependencies.push_back(entry.key);
    }
    for (const Package* package : seeds) {
        result.packages.assign(package->name, resolvedPackage(*package));
    }
    for (std::size_t i = 0; i < pathLength; ++i) {
        result.packages.assign(path[i]->name, resolvedPackage(*path[i]));
    }
    ResolvedPackage root;
    root.name = rootName;
    root.version = manifest.version;
    root.dependencies = result.rootDependencies;
    root.isRoot = true;
    result.packages.assign(rootName, std::move(root));
    return result;
}

} // namespace

Resolution Resolver::resolve(IPackageSource& source, const Manifest& manifest,
                             const Lockfile* lockfile, bool useLockfile) {
    Search search(source, manifest);
    if (useLockfile && lockfile != nullptr) {
        search.seed(manifest, *lockfile);
    }
    if (!search.run()) {
        throw MosException(ErrorCode::DependencyConflict, search.failureMessage(),
                           "check your dependency constraints in moss.toml", 4);
    }
    return search.resolution(manifest);
}

} // namespace mos
