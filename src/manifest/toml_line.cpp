#include "manifest/toml_line.h"

namespace mos {

std::string tomlLine(std::string_view key, std::string_view value) {
    return std::string(key).append(" = \"").append(value).append("\"\n");
}

} // namespace mos
