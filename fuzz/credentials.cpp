#include "store/credentials.h"

#include <string>

#include "targets.h"

namespace mos::fuzz {
namespace {

bool isPlain(const Credentials& login) {
    const std::string texts = login.token + login.username + login.email + login.registryUrl;
    return texts.find_first_of("\"\\") == std::string::npos;
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
