#include "server/protocol/login_body.h"

#include <nlohmann/json.hpp>

namespace mos::server {
namespace {

constexpr std::string_view beforeUser = R"({"usernameOrEmail":")";
constexpr std::string_view beforePassword = R"(","password":")";
constexpr std::string_view end = R"("})";

std::optional<LoginBody> cutAtPieces(std::string_view body) {
    if (!body.starts_with(beforeUser) || !body.ends_with(end)) {
        return std::nullopt;
    }
    body.remove_prefix(beforeUser.size());
    const std::size_t middle = body.find(beforePassword);
    if (middle == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view user = body.substr(0, middle);
    body.remove_prefix(middle + beforePassword.size());
    if (body.size() < end.size()) {
        return std::nullopt;
    }
    body.remove_suffix(end.size());
    return LoginBody{std::string(user), std::string(body)};
}

std::optional<std::string> stringIn(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

std::optional<LoginBody> readAsJson(std::string_view body) {
    const auto json = nlohmann::json::parse(body, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto user = stringIn(json, "usernameOrEmail");
    const auto password = stringIn(json, "password");
    return user && password ? std::optional(LoginBody{*user, *password}) : std::nullopt;
}

} // namespace

std::optional<LoginBody> readLoginBody(std::string_view body) {
    auto login = cutAtPieces(body);
    return login ? login : readAsJson(body);
}

} // namespace mos::server
