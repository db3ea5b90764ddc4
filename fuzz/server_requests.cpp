#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "manifest/package_name.h"
#include "registry/registry_replies.h"
#include "server/package/published_text.h"
#include "server/protocol/documents.h"
#include "server/protocol/login_body.h"
#include "server/protocol/route.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

using namespace server;

void checkRoute(std::string_view method, std::string_view target) {
    const Route route = routeOf(method, target);
    require(route.version.find('/') == std::string::npos, "a version is one piece of a path");
    const bool isAboutPackage =
        route.resource == Resource::Package || route.resource == Resource::Versions ||
        route.resource == Resource::Version || route.resource == Resource::Download;
    require(isAboutPackage == !route.name.empty(), "what is about a package names it");
    require(!isAboutPackage || validate_package_name(route.name, nullptr),
            "a name is one that a package may have");
    require(!allowedMethods(route).empty(), "every route has methods");
}

/// What mos sends to log in, its values as they were typed.
void checkLogin(const std::string& user, const std::string& password) {
    const std::string between = R"(","password":")";
    const std::string body = R"({"usernameOrEmail":")" + user + between + password + R"("})";
    const auto read = readLoginBody(body);
    require(read.has_value(), "what mos sends is read");
    require(read->usernameOrEmail + between + read->password == user + between + password,
            "a login is read as it was typed");
    // The piece may begin in the name's last characters too.
    if ((user + between).find(between) == user.size()) {
        require(read->usernameOrEmail == user, "a user name ends where the password begins");
    }
}

void checkDocuments(const std::string& text) {
    require(publishedText(text) == text, "what can be published stays as it is");
    require(text.find_first_of("\"\\{}\n\r\t") == std::string::npos, "nothing needs an escape");
    const PackageSummary package{"name", "1.2.3", text, text, {"1.0.0", "1.2.3"}};
    const std::string document = packageDocument(package);
    const auto json = nlohmann::json::parse(document, nullptr, false);
    require(json.is_object() && json["license"] == text, "a document is JSON");
    require(json["description"] == text || json["description"] == text + ".",
            "a description gets a full stop at most");
    const auto error = nlohmann::json::parse(errorDocument(text), nullptr, false);
    require(error.is_object() && error["error"] == text, "an error is JSON");
}

} // namespace

/// A method, a target and a body, each on lines of their own.
void serverRequests(std::string_view input) {
    const std::string_view method = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(method.size() + 1, input.size()));
    const std::string_view target = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(target.size() + 1, input.size()));
    checkRoute(method, target);
    checkLogin(std::string(target), std::string(input));
    static_cast<void>(readLoginBody(input));
    checkDocuments(publishedText(input));
}

} // namespace mos::fuzz
