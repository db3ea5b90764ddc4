#include "room.h"

#include <unistd.h>

#include <fstream>
#include <string>
#include <system_error>

namespace mos::fuzz {

namespace fs = std::filesystem;

Room::Room() : directory(fs::path("/dev/shm") / ("mos-fuzz-" + std::to_string(::getpid()))) {
    fs::remove_all(directory);
    fs::create_directory(directory);
}

Room::~Room() {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
}

fs::path Room::operator/(std::string_view name) const {
    return directory / name;
}

void writeFile(const fs::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace mos::fuzz
