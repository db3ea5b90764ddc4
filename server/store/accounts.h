#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/store/database.h"

/// Users, their passwords and their tokens.
namespace mos::server {

/// How many characters of a token are its public name; the rest is a secret.
inline constexpr std::size_t tokenIdLength = 12;

struct Account {
    std::int64_t id = 0;
    std::string name;
    std::string email;
};

/// What `token list` shows; never the secret.
struct TokenRecord {
    std::string id;
    std::string user;
    std::string label;
    std::string created;
    std::string revoked; ///< empty while the token is valid
};

/// Adds a user. The reason when that is refused, else an empty text.
[[nodiscard]] std::string addUser(Database& database, const std::string& name,
                                  const std::string& email, const std::string& password);

/// The user of that name, or with that e-mail address.
[[nodiscard]] std::optional<Account> findUser(Database& database, std::string_view nameOrEmail);

/// Whether the password is that of `account`. Takes as long for nobody, who has none. Uses 64 MiB
/// of memory for a moment.
[[nodiscard]] bool isPasswordOf(Database& database, const std::optional<Account>& account,
                                std::string_view password);

/// Makes a token and returns it; only a hash of its secret is kept. Its first twelve characters are
/// its public name.
[[nodiscard]] std::string createToken(Database& database, const Account& account,
                                      std::string_view label);

/// Whose token this is; nothing for one that is unknown or revoked.
[[nodiscard]] std::optional<Account> findTokenOwner(Database& database, std::string_view token);

/// All tokens, or those of one user, oldest first.
[[nodiscard]] std::vector<TokenRecord> listTokens(Database& database, std::string_view user);

/// False when there is no valid token with this public name.
[[nodiscard]] bool revokeToken(Database& database, std::string_view id);

/// Notes who did what, for the operator.
void audit(Database& database, std::string_view actor, std::string_view action,
           std::string_view subject);

} // namespace mos::server
