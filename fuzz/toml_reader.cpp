#include "manifest/toml_reader.h"

#include <string>

#include "targets.h"

namespace mos::fuzz {

void tomlReader(std::string_view input) {
    std::string error;
    const auto document = parse(input, &error);
    require(document.has_value() == error.empty(), "a document or a message, never both");
    require(error.find('\n') == std::string::npos, "a message is one line");
    if (document) {
        require(document->isTable(), "a document is a table");
        const TomlValue copy = *document;
        require(copy.asTable().size() == document->asTable().size(), "a copy holds as much");
    }
    // A carriage return at the end of a line is not part of it.
    std::string withReturns;
    for (const char character : input) {
        if (character == '\n') {
            withReturns.push_back('\r');
        }
        withReturns.push_back(character);
    }
    std::string otherError;
    require(parse(withReturns, &otherError).has_value() == document.has_value(),
            "either line ending is read");
    require(otherError == error, "either line ending gives the same message");
    static_cast<void>(parse_value(input));
}

} // namespace mos::fuzz
