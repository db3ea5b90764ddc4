#include "archive/extraction.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

#include "archive/archive_scanner.h"
#include "platform/file_system.h"
#include "platform/plain_file_name.h"
#include "platform/resolved_path.h"

namespace mos {
namespace {

constexpr std::size_t chunkSize = std::size_t{64} * 1024;
using Chunk = std::array<std::byte, chunkSize>;

std::string withSlashes(std::string_view name) {
    std::string text(name);
    std::ranges::replace(text, '\\', '/');
    return text;
}

/// The resolved path as text; nothing when it cannot be resolved or has no text in the system's
/// encoding.
std::optional<std::string> resolvedText(const std::filesystem::path& path) {
    const auto resolved = resolvedPath(path);
    if (!resolved) {
        return std::nullopt;
    }
    try {
        return resolved->string();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

/// The directory that holds `path`; separators at its end do not count.
std::filesystem::path parentOf(const std::filesystem::path& path) {
    return path.has_filename() ? path.parent_path() : path.parent_path().parent_path();
}

bool isTextWithin(std::string_view base, std::string_view path) {
    if (!path.starts_with(base)) {
        return false;
    }
    // Without this test foo-1.0.0-evil would lie within foo-1.0.0.
    return path.size() == base.size() || path[base.size()] == '/' || path[base.size()] == '\\';
}

/// Unpacks members into one directory.
class Extraction {
public:
    Extraction(ArchiveScanner& source, std::filesystem::path target)
        : scanner(source), targetDir(std::move(target)), resolvedTarget(resolvedText(targetDir)) {}

    /// Screens and writes one member; the reason when that fails.
    [[nodiscard]] std::optional<std::string> extract(const std::string& name);

private:
    [[nodiscard]] bool isWithinTarget(const std::filesystem::path& path) const;
    [[nodiscard]] bool writeData(const std::filesystem::path& path);

    ArchiveScanner& scanner;
    std::filesystem::path targetDir;
    std::optional<std::string> resolvedTarget;
    Chunk chunk{};
};

std::optional<std::string> Extraction::extract(const std::string& name) {
    if (!isSafeEntryName(name)) {
        return "Path traversal security violation in archive entry: " + name;
    }
    // As text: what is no plain name need not have a path at all.
    const std::string relativePath = withSlashes(name);
    std::string writeFailure =
        "Failed to write extracted file: " + (targetDir / "").string() + relativePath;
    if (!isPlainFileName(relativePath)) {
        return writeFailure;
    }
    const std::filesystem::path path = targetDir / relativePath;
    if (!isWithinTarget(path)) {
        return "Archive path escapes target directory: " + name;
    }
    createDirectories(parentOf(path));
    return writeData(path) ? std::nullopt : std::optional(writeFailure);
}

bool Extraction::isWithinTarget(const std::filesystem::path& path) const {
    const auto resolved = resolvedText(path);
    return resolvedTarget && resolved && isTextWithin(*resolvedTarget, *resolved);
}

bool Extraction::writeData(const std::filesystem::path& path) {
    std::ofstream file(path, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!file.is_open()) {
        return false;
    }
    while (const std::size_t size = scanner.readData(chunk)) {
        file.write(reinterpret_cast<const char*>(chunk.data()), static_cast<std::streamsize>(size));
    }
    file.close();
    return !file.fail();
}

bool fail(std::string* error, std::string reason) {
    if (error != nullptr) {
        *error = std::move(reason);
    }
    return false;
}

} // namespace

bool extractArchive(const std::filesystem::path& archivePath,
                    const std::filesystem::path& targetDir, std::string* error) {
    ArchiveScanner scanner(archivePath);
    if (!scanner.isOpen()) {
        return fail(error, "Could not open archive: " + archivePath.string());
    }
    Extraction extraction(scanner, targetDir);
    while (const auto member = scanner.next()) {
        if (auto reason = extraction.extract(member->name)) {
            return fail(error, std::move(*reason));
        }
    }
    return true;
}

bool isSafeEntryName(std::string_view name) {
    if (name.empty() || (name.size() >= 2 && name[1] == ':')) {
        return false;
    }
    const std::string text = withSlashes(name);
    if (text.front() == '/') {
        return false;
    }
    int depth = 0;
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::string_view segment = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(segment.size() + 1, rest.size()));
        if (segment == "..") {
            --depth;
        } else if (!segment.empty() && segment != ".") {
            ++depth;
        }
        if (depth < 0) {
            return false;
        }
    }
    return true;
}

bool isPathWithin(const std::filesystem::path& base, const std::filesystem::path& path) {
    const auto resolvedBase = resolvedText(base);
    const auto resolved = resolvedText(path);
    return resolvedBase && resolved && isTextWithin(*resolvedBase, *resolved);
}

} // namespace mos
