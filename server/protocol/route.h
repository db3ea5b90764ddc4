#pragma once

#include <string>
#include <string_view>

namespace mos::server {

enum class Resource { Nothing, Package, Versions, Version, Download, Search, Login, Publish };

/// What a request is about. The texts are as they stand in the request's target, but for the query,
/// which is decoded.
struct Route {
    Resource resource = Resource::Nothing;
    std::string name;
    std::string version;
    std::string query;

    bool operator==(const Route&) const = default;
};

/// Takes a request's target apart. Names are those that a package may have; everything else, dot
/// segments among it, is Nothing. `method` decides where a package's name could be meant as well.
[[nodiscard]] Route routeOf(std::string_view method, std::string_view target);

/// The methods that are known where a route leads, as they stand in an Allow line.
[[nodiscard]] std::string_view allowedMethods(const Route& route);

} // namespace mos::server
