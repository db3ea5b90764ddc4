#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "resolver/resolution.h"

namespace mos {

/// The content of moss.lock: the outcome of the last resolution.
///
/// The text that toString() writes for a package with dependencies spreads over several lines,
/// which the reader does not read: such a file counts as no lock file.
struct Lockfile {
    std::int32_t version = 1; ///< of the format; read, never checked
    std::vector<ResolvedPackage> packages;

    /// The packages of a resolution without the project itself, sorted by name (bytes); each with
    /// its dependencies sorted likewise.
    [[nodiscard]] static Lockfile fromResolution(const Resolution& resolution);

    /// Reads the text of a lock file. Unknown keys are ignored, an entry whose version does not
    /// parse is dropped. Nothing when the text is not a document.
    [[nodiscard]] static std::optional<Lockfile> parse(std::string_view text);

    /// Reads the file `path`; nothing when there is none or it cannot be read or parsed. A failure
    /// of the test whether it exists is raised as a file-system error named "exists".
    [[nodiscard]] static std::optional<Lockfile> load(const std::filesystem::path& path);

    /// The text of the lock file. Values are not escaped.
    [[nodiscard]] std::string toString() const;

    /// Replaces the file `path` as FileReplacement does; false when it cannot be written.
    [[nodiscard]] bool save(const std::filesystem::path& path) const;
};

} // namespace mos
