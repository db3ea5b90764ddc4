#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace mos {

/// A saved login. Any field may be empty.
struct Credentials {
    std::string token;
    std::string username;
    std::string email;
    std::string registryUrl;
};

/// HOME/credentials.json
[[nodiscard]] std::filesystem::path credentialsPath();

/// The saved login; nothing when the file does not exist. Fields that a damaged or unreadable file
/// does not yield are empty. Raises a file-system error ("exists") when the test for the file
/// fails.
[[nodiscard]] std::optional<Credentials> loadCredentials();

/// Replaces the file as FileReplacement does, readable by its owner alone. False with the reason
/// in `error`.
[[nodiscard]] bool saveCredentials(const Credentials& credentials, std::string& error);

/// Removes the file; a missing one is fine. False with the reason in `error`.
[[nodiscard]] bool removeCredentials(std::string& error);

/// The token in force: `explicitToken`, else MOS_TOKEN, else the saved one; empty for none.
[[nodiscard]] std::string resolveToken(std::string_view explicitToken);

/// The text of the file: one key a line, values not escaped.
[[nodiscard]] std::string credentialsToText(const Credentials& credentials);

/// The login in the text of a file; what is not found is empty.
[[nodiscard]] Credentials credentialsFromText(std::string_view text);

} // namespace mos
