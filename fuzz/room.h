#pragma once

#include <filesystem>
#include <string_view>

namespace mos::fuzz {

/// An empty directory in memory for one input; it goes with the object.
class Room {
public:
    Room();
    ~Room();
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const;

private:
    std::filesystem::path directory;
};

void writeFile(const std::filesystem::path& path, std::string_view bytes);

} // namespace mos::fuzz
