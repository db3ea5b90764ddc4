#include "server/protocol/route.h"

#include <charconv>

#include "manifest/package_name.h"
#include "server/protocol/paths.h"

namespace mos::server {
namespace {

constexpr std::size_t longestVersionPiece = 100;

/// The package whose address is also the one to publish at.
constexpr std::string_view publishedName = publishPath.substr(packagesPath.size() + 1);

/// `text` with its %XX sequences decoded (RFC 3986, 2.1); broken ones stay as they are. "+" is
/// itself.
std::string decoded(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        unsigned char byte = 0;
        if (text.front() == '%' && text.size() >= 3 &&
            std::from_chars(text.data() + 1, text.data() + 3, byte, 16).ptr == text.data() + 3) {
            result.push_back(static_cast<char>(byte));
            text.remove_prefix(3);
        } else {
            result.push_back(text.front());
            text.remove_prefix(1);
        }
    }
    return result;
}

/// The value of "q" in a query.
std::string searchedWords(std::string_view query) {
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        if (pair.starts_with("q=")) {
            return decoded(pair.substr(2));
        }
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
    }
    return {};
}

std::string_view takePiece(std::string_view& path) {
    const std::string_view piece = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(piece.size() + 1, path.size()));
    return piece;
}

/// What "NAME", "NAME/versions", "NAME/VERSION" and "NAME/VERSION/download" name.
Route packageRoute(std::string_view path) {
    if (path.ends_with('/')) {
        return {};
    }
    Route route;
    route.name = takePiece(path);
    if (!validate_package_name(route.name, nullptr)) {
        return {};
    }
    if (path.empty()) {
        route.resource = Resource::Package;
        return route;
    }
    route.version = takePiece(path);
    if (route.version.empty() || route.version.size() > longestVersionPiece) {
        return {};
    }
    if (path.empty()) {
        const bool isList = route.version == "versions";
        route.resource = isList ? Resource::Versions : Resource::Version;
        route.version = isList ? "" : route.version;
        return route;
    }
    if (path != "download") {
        return {};
    }
    route.resource = Resource::Download;
    return route;
}

} // namespace

Route routeOf(std::string_view method, std::string_view target) {
    const std::size_t pathLength = std::min(target.find('?'), target.size());
    const std::string_view path = target.substr(0, pathLength);
    if (path == packagesPath || path == searchPath) {
        const std::string_view query = target.substr(std::min(pathLength + 1, target.size()));
        return {Resource::Search, {}, {}, searchedWords(query)};
    }
    if (path == loginPath) {
        return {Resource::Login, {}, {}, {}};
    }
    if (path == publishPath && method == "POST") {
        return {Resource::Publish, {}, {}, {}};
    }
    if (path.starts_with(packagesPath) && path.substr(packagesPath.size()).starts_with('/')) {
        return packageRoute(path.substr(packagesPath.size() + 1));
    }
    return {};
}

std::string_view allowedMethods(const Route& route) {
    if (route.resource == Resource::Login || route.resource == Resource::Publish) {
        return "POST";
    }
    return route.resource == Resource::Package && route.name == publishedName ? "GET, HEAD, POST"
                                                                              : "GET, HEAD";
}

} // namespace mos::server
