#pragma once

#include <filesystem>
#include <optional>
#include <string>

/// File-system operations whose failures are raised as std::filesystem::filesystem_error with the
/// operation's name as first text, the same on every platform.
namespace mos {

/// Whether anything is at `path`, links followed. An error other than "not found" is raised as
/// "exists".
[[nodiscard]] bool pathExists(const std::filesystem::path& path);

/// Whether `path` is a directory, links followed. Errors are raised as pathExists raises them.
[[nodiscard]] bool directoryExists(const std::filesystem::path& path);

/// Creates `path` and its missing parents; an existing directory is fine. Raised as
/// "create_directories".
void createDirectories(const std::filesystem::path& path);

/// Removes `path` and everything below it; a missing path is fine. Raised as "remove_all".
void removeAll(const std::filesystem::path& path);

/// The current directory. Raised as "current_path".
[[nodiscard]] std::filesystem::path currentDirectory();

/// The whole content of a file; nothing when it cannot be opened. A directory cannot be opened.
[[nodiscard]] std::optional<std::string> readFile(const std::filesystem::path& path);

} // namespace mos
