#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string_view>
#include <system_error>

namespace mos {

/// Who may read a file that did not exist before. An existing file keeps its mode, and its owner
/// where this user may give files to him.
enum class FileAccess {
    Default,   ///< as the system makes new files
    OwnerOnly, ///< the owner alone (0600), an existing file too; none of somebody else is written
};

/// New content for a file that others trust: written beside it, flushed, and moved over it in one
/// step, so that a reader, a crash or a full disk never leaves half of it.
///
/// A link is followed: the file it names is replaced. Where the directory takes no new file, or the
/// file cannot be moved over (a mount point, a device), the content is written in place. A file
/// that exists and could not be opened for writing cannot be replaced, whatever its directory
/// allows. Destroying the object without commit() leaves the file as it was (unless it was being
/// written in place).
class FileReplacement {
public:
    explicit FileReplacement(const std::filesystem::path& path,
                             FileAccess access = FileAccess::Default);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Whether the file can be written.
    [[nodiscard]] bool isOpen() const noexcept;

    /// Appends bytes; false when the disk does not take them.
    [[nodiscard]] bool write(std::span<const std::byte> bytes);

    /// Puts the new content in place; false when it could not be flushed or moved.
    [[nodiscard]] bool commit();

    /// Why the last of these operations failed; no error when none did.
    [[nodiscard]] std::error_code error() const noexcept;

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Replaces the file by `content` as FileReplacement does. False when it cannot be written, with
/// the reason in `error` when given; an existing file is then as it was, unless it was being
/// written in place.
[[nodiscard]] bool replaceFile(const std::filesystem::path& path, std::string_view content,
                               FileAccess access = FileAccess::Default,
                               std::error_code* error = nullptr);

/// Removes the file if it is what a run that was killed left of a replacement: new content that
/// never came to its place. Whether it did.
bool removeAbandonedReplacement(const std::filesystem::path& file);

/// The same for every file of a directory, the current one when it is empty. What is being written
/// stays.
void removeAbandonedReplacementsIn(const std::filesystem::path& directory);

} // namespace mos
