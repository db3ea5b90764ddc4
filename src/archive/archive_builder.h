#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archive/member_content.h"

namespace mos {

/// A .mos container (package_archive.h) in the making.
class ArchiveBuilder {
public:
    /// Appends a member, every "\" of its name as "/".
    ///
    /// Counts, lengths, sizes and offsets beyond the width of their fields are truncated.
    void add(std::string_view name, MemberContent content);

    /// The same for data that stay as they are until this object goes.
    void add(std::string_view name, std::span<const std::byte> data);

    /// How many members there are.
    [[nodiscard]] std::size_t size() const noexcept { return members.size(); }

    /// Writes the archive, which replaces a file at `path` as FileReplacement does. The parent
    /// directory must exist. False with the reason in `error` (when given) when the file cannot be
    /// opened or written, or when a file to read once more cannot be read or has not the content
    /// any more that it was added with. The SHA-256 of what was written, as hexadecimal digits,
    /// goes to `digest` (when given).
    [[nodiscard]] bool write(const std::filesystem::path& path, std::string* error,
                             std::string* digest) const;

private:
    struct Member {
        std::string name;
        MemberContent content;
    };

    std::vector<Member> members;
};

} // namespace mos
