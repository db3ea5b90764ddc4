#include "server/protocol/route.h"

#include <gtest/gtest.h>

namespace mos::server {
namespace {

constexpr std::string_view base = "/api/v1/packages";

Route get(const std::string& rest) {
    return routeOf("GET", std::string(base) + rest);
}

TEST(Route, KnowsEveryPathOfTheApi) {
    EXPECT_EQ(get("/json"), (Route{Resource::Package, "json", "", ""}));
    EXPECT_EQ(get("/json/versions"), (Route{Resource::Versions, "json", "", ""}));
    EXPECT_EQ(get("/json/1.0.0"), (Route{Resource::Version, "json", "1.0.0", ""}));
    EXPECT_EQ(get("/json/1.0.0/download"), (Route{Resource::Download, "json", "1.0.0", ""}));
    EXPECT_EQ(routeOf("POST", "/api/v1/auth/login").resource, Resource::Login);
    EXPECT_EQ(routeOf("POST", "/api/v1/packages/publish").resource, Resource::Publish);
}

TEST(Route, APackageMayBeCalledPublish) {
    EXPECT_EQ(get("/publish"), (Route{Resource::Package, "publish", "", ""}));
}

TEST(Route, AQueryIsDecoded) {
    EXPECT_EQ(get("?q=a%20b+c%zz%4"), (Route{Resource::Search, "", "", "a b+c%zz%4"}));
    EXPECT_EQ(get("?p=1&q=x&q=y").query, "x");
    EXPECT_EQ(get("").resource, Resource::Search);
    EXPECT_EQ(routeOf("GET", "/api/v1/search?q=").resource, Resource::Search);
}

TEST(Route, AQueryBehindAnotherPathIsPassedOver) {
    EXPECT_EQ(get("/json?x=/../y"), (Route{Resource::Package, "json", "", ""}));
}

TEST(Route, EverythingElseIsNothing) {
    for (const char* const path :
         {"/", "/..", "/.", "/%2e%2e", "/Json", "/json/", "/json//", "/json/1.0.0/",
          "/json/1.0.0/download/", "/json/1.0.0/else", "/json//download", "x"}) {
        EXPECT_EQ(get(path), Route{}) << path;
    }
    for (const char* const target :
         {"", "*", "/", "/api", "http://x/api/v1/packages", "/API/v1/packages"}) {
        EXPECT_EQ(routeOf("GET", target), Route{}) << target;
    }
    EXPECT_EQ(get("/json/" + std::string(101, '1')), Route{});
}

} // namespace
} // namespace mos::server
