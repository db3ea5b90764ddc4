#include "store/credentials.h"

#include <system_error>

#include "platform/environment.h"
#include "platform/file_replacement.h"
#include "platform/file_system.h"
#include "platform/resolved_path.h"
#include "store/json_string.h"
#include "store/tool_home.h"

namespace mos {
namespace {

std::string keyLine(std::string_view key, std::string_view value, std::string_view lineEnd) {
    return std::string("  \"").append(key).append("\": \"").append(value).append(lineEnd);
}

} // namespace

std::filesystem::path credentialsPath() {
    return toolHome() / "credentials.json";
}

std::optional<Credentials> loadCredentials() {
    const std::filesystem::path path = credentialsPath();
    if (!pathExists(path)) {
        return std::nullopt;
    }
    return credentialsFromText(readFile(path).value_or(std::string()));
}

bool saveCredentials(const Credentials& credentials, std::string& error) {
    const std::filesystem::path path = credentialsPath();
    const std::filesystem::path directory = path.parent_path();
    try {
        createDirectories(directory);
    } catch (const std::filesystem::filesystem_error& failure) {
        error = "Failed to create directory: " + failure.code().message();
        return false;
    }
    if (!replaceFile(path, credentialsToText(credentials), FileAccess::OwnerOnly)) {
        // Deliberate: the directory's path, not the file's.
        error = "Failed to open credentials file for writing: " + directory.string();
        return false;
    }
    return true;
}

bool removeCredentials(std::string& error) {
    const std::filesystem::path path = credentialsPath();
    // A link is followed, as when the login was saved: it is not the link that holds the token.
    const auto file = resolvedPath(path);
    if (file) {
        // A login that was killed may have left the token beside it.
        removeAbandonedReplacementsIn(file->parent_path());
    }
    if (!pathExists(path)) {
        return true;
    }
    std::error_code failure;
    if (!file || !removeFile(*file, failure)) {
        error = "Failed to remove credentials file: " + path.string();
        return false;
    }
    return true;
}

std::string resolveToken(std::string_view explicitToken) {
    if (!explicitToken.empty()) {
        return std::string(explicitToken);
    }
    if (auto token = environmentVariable("MOS_TOKEN"); token && !token->empty()) {
        return *std::move(token);
    }
    return loadCredentials().value_or(Credentials{}).token;
}

std::string credentialsToText(const Credentials& credentials) {
    return "{\n" + keyLine("token", credentials.token, "\",\n") +
           keyLine("username", credentials.username, "\",\n") +
           keyLine("email", credentials.email, "\",\n") +
           keyLine("registryUrl", credentials.registryUrl, "\"\n") + "}\n";
}

Credentials credentialsFromText(std::string_view text) {
    return {extractJsonString(text, "token"), extractJsonString(text, "username"),
            extractJsonString(text, "email"), extractJsonString(text, "registryUrl")};
}

} // namespace mos
