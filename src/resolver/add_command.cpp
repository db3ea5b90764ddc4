#include "resolver/add_command.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cli/console.h"
#include "cli/project_manifest.h"
#include "registry/package_registry.h"
#include "resolver/dependency_request.h"
#include "resolver/installation.h"

namespace mos {
namespace {

/// Completes `request` with a caret on the highest published version when it has no constraint.
VersionConstraint registryConstraint(DependencyRequest& request) {
    // The registry is asked first: an unknown package is reported even when the constraint is
    // malformed.
    const std::shared_ptr<IRegistry> registry = makeRegistry();
    const std::vector<Version> versions = registry->availableVersions(request.name);
    if (versions.empty()) {
        throw MosException(ErrorCode::PackageNotFound,
                           "Package '" + request.name + "' was not found in the registry.", "", 1);
    }
    if (request.constraintText.empty()) {
        request.constraintText = "^" + std::ranges::max(versions).to_string();
    }
    auto constraint = VersionConstraint::parse(request.constraintText);
    if (!constraint) {
        throw MosException(ErrorCode::InvalidVersion,
                           "Invalid version constraint: " + request.constraintText, "", 1);
    }
    return *std::move(constraint);
}

DependencySpec specFor(DependencyRequest& request, const CommandContext& context) {
    DependencySpec spec;
    spec.name = request.name;
    spec.path = context.getOption("path", "");
    spec.git = context.getOption("git", "");
    if (!spec.path.empty()) {
        spec.source = DependencySource::Path;
        spec.git.clear();
    } else if (!spec.git.empty()) {
        spec.source = DependencySource::Git;
        spec.branch = context.getOption("branch", "");
        spec.tag = context.getOption("tag", "");
        spec.rev = context.getOption("rev", "");
    } else {
        spec.constraint = registryConstraint(request);
    }
    return spec;
}

} // namespace

int addCommand(const CommandContext& context) {
    if (context.args.empty()) {
        throw MosException(ErrorCode::InvalidPackageName,
                           "Missing package name. Usage: mos add <package>[@version]", "", 2);
    }
    Manifest manifest = loadProjectManifest();
    DependencyRequest request = parseDependencyRequest(context.args.front());
    DependencySpec spec = specFor(request, context);
    if (context.hasFlag("dry-run")) {
        printStatus("Dry-run", "Would add dependency '" + request.name + "' with constraint '" +
                                   request.constraintText + "'");
        return 0;
    }
    const std::string constraintText = spec.constraint.to_string();
    DependencyTable& table =
        context.hasFlag("dev") ? manifest.dev_dependencies : manifest.dependencies;
    table.assign(request.name, std::move(spec));
    saveProjectManifest(manifest);
    // Deliberate: the "v" stands before the constraint as it is, and "to dependencies" is said of
    // development dependencies, too.
    printStatus("Adding", request.name + " v" + constraintText + " to dependencies");
    installDependencies(context, LockedVersions::Keep);
    return 0;
}

} // namespace mos
