#include "server/store/accounts.h"

#include <sodium.h>

#include <algorithm>
#include <array>

#include "server/store/clock.h"

namespace mos::server {
namespace {

constexpr std::size_t longestUserName = 39;
constexpr std::size_t longestEmail = 200;
constexpr std::size_t shortestPassword = 8;
constexpr std::size_t longestPassword = 1000;

constexpr std::string_view tokenPrefix = "mos_";
constexpr std::size_t secretLength = 40;
constexpr std::string_view tokenAlphabet = "abcdefghijklmnopqrstuvwxyz234567";

using SecretHash = std::array<unsigned char, crypto_generichash_BYTES>;

std::string randomCharacters(std::size_t count) {
    std::string text(count, ' ');
    std::ranges::generate(text, [] {
        return tokenAlphabet[randombytes_uniform(static_cast<std::uint32_t>(tokenAlphabet.size()))];
    });
    return text;
}

/// The secrets are random and long: a fast hash hides them well enough.
SecretHash hashOf(std::string_view secret) {
    SecretHash hash{};
    crypto_generichash(hash.data(), hash.size(),
                       reinterpret_cast<const unsigned char*>(secret.data()), secret.size(),
                       nullptr, 0);
    return hash;
}

std::string hashPassword(std::string_view password) {
    std::array<char, crypto_pwhash_STRBYTES> text{};
    if (crypto_pwhash_str(text.data(), password.data(), password.size(),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0) {
        throw DatabaseError("not enough memory to hash a password");
    }
    return text.data();
}

bool isHashOf(const std::string& hash, std::string_view password) {
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

bool mayStandInUserName(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool mayStandInEmail(char c) {
    return c > 0x20 && c < 0x7f &&
           std::string_view("\"\\{}<>,;:").find(c) == std::string_view::npos;
}

std::string refusalOfUser(std::string_view name, std::string_view email,
                          std::string_view password) {
    if (name.empty() || name.size() > longestUserName ||
        !std::ranges::all_of(name, mayStandInUserName)) {
        return "a user name has 1 to 39 of the characters a-z, 0-9, '-' and '_'";
    }
    if (email.size() > longestEmail || !std::ranges::all_of(email, mayStandInEmail) ||
        std::ranges::count(email, '@') != 1 || email.starts_with('@') || email.ends_with('@')) {
        return "'" + std::string(email) + "' is not an e-mail address";
    }
    if (password.size() < shortestPassword || password.size() > longestPassword) {
        return "a password has 8 to 1000 characters";
    }
    return {};
}

Account accountAt(const Statement& row, int column) {
    return {row.number(column), row.text(column + 1), row.text(column + 2)};
}

/// The hash of a password that nobody knows, for users who do not exist.
const std::string& nobodysHash() {
    static const std::string hash = hashPassword(randomCharacters(secretLength));
    return hash;
}

} // namespace

std::string addUser(Database& database, const std::string& name, const std::string& email,
                    const std::string& password) {
    if (std::string refusal = refusalOfUser(name, email, password); !refusal.empty()) {
        return refusal;
    }
    const std::string hash = hashPassword(password);
    Transaction transaction(database, Transaction::Kind::Write);
    for (const std::string& taken : {name, email}) {
        if (findUser(database, taken)) {
            return "there is a user '" + taken + "' already";
        }
    }
    database.statement("INSERT INTO users (name, email, password, created) VALUES (?, ?, ?, ?)")
        .bind(name)
        .bind(email)
        .bind(hash)
        .bind(timestamp())
        .run();
    audit(database, "operator", "user add", name);
    transaction.commit();
    return {};
}

std::optional<Account> findUser(Database& database, std::string_view nameOrEmail) {
    Statement row =
        database.statement("SELECT id, name, email FROM users WHERE name = ?1 OR email = ?1");
    row.bind(nameOrEmail);
    return row.next() ? std::optional(accountAt(row, 0)) : std::nullopt;
}

bool isPasswordOf(Database& database, const std::optional<Account>& account,
                  std::string_view password) {
    std::string hash = nobodysHash();
    if (account) {
        Statement row = database.statement("SELECT password FROM users WHERE id = ?");
        hash = row.bind(account->id).next() ? row.text(0) : "";
    }
    return isHashOf(hash, password) && account.has_value();
}

std::string createToken(Database& database, const Account& account, std::string_view label) {
    const std::string secret = randomCharacters(secretLength);
    Transaction transaction(database, Transaction::Kind::Write);
    std::string id;
    bool isTaken = true;
    while (isTaken) {
        id = std::string(tokenPrefix) + randomCharacters(tokenIdLength - tokenPrefix.size());
        Statement row = database.statement("SELECT 1 FROM tokens WHERE id = ?");
        isTaken = row.bind(id).next();
    }
    database.statement("INSERT INTO tokens (id, user, hash, label, created) VALUES (?, ?, ?, ?, ?)")
        .bind(id)
        .bind(account.id)
        .bind(hashOf(secret))
        .bind(label)
        .bind(timestamp())
        .run();
    audit(database, account.name, "token create", id);
    transaction.commit();
    return id + secret;
}

std::optional<Account> findTokenOwner(Database& database, std::string_view token) {
    if (token.size() != tokenIdLength + secretLength) {
        return std::nullopt;
    }
    Statement row = database.statement(
        "SELECT tokens.hash, users.id, users.name, users.email FROM tokens"
        " JOIN users ON users.id = tokens.user WHERE tokens.id = ? AND tokens.revoked IS NULL");
    row.bind(token.substr(0, tokenIdLength));
    if (!row.next()) {
        return std::nullopt;
    }
    const auto kept = row.bytes(0);
    const SecretHash hash = hashOf(token.substr(tokenIdLength));
    const bool isRight =
        kept.size() == hash.size() && sodium_memcmp(kept.data(), hash.data(), hash.size()) == 0;
    return isRight ? std::optional(accountAt(row, 1)) : std::nullopt;
}

std::vector<TokenRecord> listTokens(Database& database, std::string_view user) {
    Statement row = database.statement(
        "SELECT tokens.id, users.name, label, tokens.created, revoked FROM tokens"
        " JOIN users ON users.id = tokens.user WHERE ?1 = '' OR users.name = ?1"
        " ORDER BY tokens.created, tokens.rowid");
    row.bind(user);
    std::vector<TokenRecord> tokens;
    while (row.next()) {
        tokens.push_back({row.text(0), row.text(1), row.text(2), row.text(3), row.text(4)});
    }
    return tokens;
}

bool revokeToken(Database& database, std::string_view id) {
    Transaction transaction(database, Transaction::Kind::Write);
    const int changed =
        database.statement("UPDATE tokens SET revoked = ? WHERE id = ? AND revoked IS NULL")
            .bind(timestamp())
            .bind(id)
            .run();
    if (changed == 0) {
        return false;
    }
    audit(database, "operator", "token revoke", id);
    transaction.commit();
    return true;
}

void audit(Database& database, std::string_view actor, std::string_view action,
           std::string_view subject) {
    database.statement("INSERT INTO audit (time, actor, action, subject) VALUES (?, ?, ?, ?)")
        .bind(timestamp())
        .bind(actor)
        .bind(action)
        .bind(subject)
        .run();
}

} // namespace mos::server
