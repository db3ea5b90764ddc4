#pragma once

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"

namespace mos::test {

/// An empty directory of the test's own; removed, with what is in it, at the end of the test.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::random_device random;
        do {
            directory = std::filesystem::temp_directory_path() /
                        ("mos-test-" + std::to_string(random()) + std::to_string(random()));
        } while (!std::filesystem::create_directory(directory));
    }
    ~TemporaryDirectory() {
        try {
            // The program's own, because not every standard library stops at links.
            removeAll(directory);
        } catch (const std::filesystem::filesystem_error&) {
            return; // what is left lies where temporary files lie
        }
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return directory; }
    [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const {
        return directory / name;
    }

private:
    std::filesystem::path directory;
};

/// The bytes of `text`, which has to stay.
[[nodiscard]] inline std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

/// Writes `content` to the file `path`, whose directory exists.
inline void writeFile(const std::filesystem::path& path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// The content of the file `path`; a text of its own when there is none.
[[nodiscard]] inline std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return "<no file>";
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The names of what is in `directory`, sorted.
[[nodiscard]] inline std::vector<std::string> namesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

} // namespace mos::test
