#include "store/credentials.h"

#include <string>

#include "targets.h"

namespace mos::fuzz {
namespace {

/// Whether the scanner, which looks for quoted words, can take the text for nothing else.
bool isPlain(std::string_view text) {
    constexpr std::string_view characters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                            "0123456789.@:/_-";
    return text.find_first_not_of(characters) == std::string_view::npos && text != "token" &&
           text != "username" && text != "email" && text != "registryUrl";
}

bool isPlain(const Credentials& login) {
    return isPlain(login.token) && isPlain(login.username) && isPlain(login.email) &&
           isPlain(login.registryUrl);
}

} // namespace

void credentials(std::string_view input) {
    const Credentials read = credentialsFromText(input);
    const std::string text = credentialsToText(read);
    const Credentials again = credentialsFromText(text);
    if (isPlain(read)) {
        require(credentialsToText(again) == text, "a login survives a round");
    }
}

} // namespace mos::fuzz
