#pragma once

#include <span>
#include <string_view>

namespace mos::server {

/// A file of an example package; the program carries them all, so that they are there wherever it
/// is put.
struct ExampleFile {
    std::string_view path; ///< such as "json-1.4.0/src/json.moss"
    std::string_view content;
};

/// The files below `examples/`, by path. Made when the program is built.
[[nodiscard]] std::span<const ExampleFile> exampleFiles();

} // namespace mos::server
