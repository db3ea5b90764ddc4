#include "registry/info_command.h"

#include "cli/console.h"
#include "cli/mos_exception.h"
#include "registry/package_registry.h"

namespace mos {
namespace {

/// Values are not escaped.
std::string infoJson(const PackageInfo& info) {
    std::string versions;
    for (const std::string& version : info.versions) {
        versions.append(versions.empty() ? "\"" : ", \"").append(version).append("\"");
    }
    return "{\n  \"name\": \"" + info.name + "\",\n  \"latest\": \"" + info.latest +
           "\",\n  \"license\": \"" + info.license + "\",\n  \"description\": \"" +
           info.description + "\",\n  \"versions\": [" + versions + "]\n}\n";
}

std::string infoText(const PackageInfo& info) {
    std::string text = "Name:        " + info.name + "\nLatest:      " + info.latest +
                       "\nLicense:     " + info.license + "\nDescription: " + info.description +
                       "\n\nVersions:\n";
    for (const std::string& version : info.versions) {
        text.append("  ").append(version).append("\n");
    }
    return text;
}

} // namespace

int infoCommand(const CommandContext& context) {
    if (context.args.empty() || context.args.front().empty()) {
        throw MosException(ErrorCode::InvalidPackageName,
                           "Missing package name. Usage: mos info <package>", "", 1);
    }
    const std::string& name = context.args.front();
    const auto info = makeRegistry()->info(name);
    if (!info) {
        throw MosException(ErrorCode::PackageNotFound, "Package '" + name + "' not found.", "", 1);
    }
    writeOutput(outputSettings().json ? infoJson(*info) : infoText(*info));
    return 0;
}

} // namespace mos
