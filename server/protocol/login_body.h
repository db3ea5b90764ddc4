#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mos::server {

struct LoginBody {
    std::string usernameOrEmail;
    std::string password;
};

/// Reads the body of a login. mos puts both values between fixed pieces of text without escaping
/// them, so a body of that shape is cut at the pieces and nothing in it is unescaped; the user name
/// ends where the next piece begins first. A body of another shape is read as JSON. Nothing when
/// it is neither, or a value is missing.
[[nodiscard]] std::optional<LoginBody> readLoginBody(std::string_view body);

} // namespace mos::server
