#include "archive/extraction.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "archive/archive_scanner.h"
#include "platform/failure.h"
#include "platform/file_system.h"
#include "platform/output_file.h"
#include "platform/plain_file_name.h"
#include "platform/resolved_path.h"

namespace mos {
namespace {

/// Enough for what lies together in an archive; the rest is looked up again.
constexpr std::size_t mostKnownParents = 1024;

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
    Extraction(ArchiveScanner& source, std::filesystem::path target,
               std::filesystem::path shownTarget)
        : scanner(source),
          targetDir(std::move(target)),
          shownDir(std::move(shownTarget)),
          resolvedTarget(resolvedText(targetDir)) {}

    /// Screens and writes one member; the reason when that fails.
    [[nodiscard]] std::optional<std::string> extract(const std::string& name);

    /// What the system said when the last member could not be written.
    [[nodiscard]] std::error_code systemError() const { return refusal; }

private:
    [[nodiscard]] std::string writeFailure(const std::string& relativePath) const;
    [[nodiscard]] bool isWithinTarget(const std::filesystem::path& path) const;
    [[nodiscard]] OutputFile openBelowKnownParent(const std::filesystem::path& path) const;
    void createShown(const std::filesystem::path& directory) const;
    void prepareParent(const std::filesystem::path& path);
    [[nodiscard]] bool copyData(OutputFile& file);

    ArchiveScanner& scanner;
    std::filesystem::path targetDir;
    std::filesystem::path shownDir; ///< in messages
    std::optional<std::string> resolvedTarget;
    std::set<std::filesystem::path::string_type> knownParents; ///< made, and within the target
    std::error_code refusal;
};

std::optional<std::string> Extraction::extract(const std::string& name) {
    if (!isSafeEntryName(name)) {
        return "Path traversal security violation in archive entry: " + name;
    }
    const std::string relativePath = withSlashes(name);
    if (!isPlainFileName(relativePath)) {
        return writeFailure(relativePath);
    }
    const std::filesystem::path path = targetDir / relativePath;
    OutputFile file = openBelowKnownParent(path);
    if (!file.isOpen()) {
        if (!isWithinTarget(path)) {
            return "Archive path escapes target directory: " + name;
        }
        prepareParent(path);
        file = OutputFile(path, OutputMode::CreateNew);
    }
    if (!file.isOpen() && isWithinTarget(path)) {
        file = OutputFile(path);
    }
    if (!file.isOpen() || !copyData(file)) {
        refusal = file.error();
        return writeFailure(relativePath);
    }
    return std::nullopt;
}

/// Joined as text: what is no plain name need not have a path at all.
std::string Extraction::writeFailure(const std::string& relativePath) const {
    return "Failed to write extracted file: " + (shownDir / "").string() + relativePath;
}

/// A new file in a directory that was found within the target before, and so is within it too.
/// Not open when the directory is not known or something is there already, be it a link.
OutputFile Extraction::openBelowKnownParent(const std::filesystem::path& path) const {
    return knownParents.contains(parentOf(path).native()) ? OutputFile(path, OutputMode::CreateNew)
                                                          : OutputFile();
}

/// Creates a directory and its parents; a failure names it as messages do.
void Extraction::createShown(const std::filesystem::path& directory) const {
    try {
        createDirectories(directory);
    } catch (const std::filesystem::filesystem_error& failure) {
        std::filesystem::path shown = shownDir;
        shown += directory.native().substr(targetDir.native().size());
        throw std::filesystem::filesystem_error("create_directories", shown, failure.code());
    }
}

/// Creates the directory that `path` will be in and remembers it. It need not be within the target:
/// a link in a directory outside may lead back.
void Extraction::prepareParent(const std::filesystem::path& path) {
    const std::filesystem::path parent = parentOf(path);
    createShown(parent);
    if (isWithinTarget(parent)) {
        if (knownParents.size() >= mostKnownParents) {
            knownParents.clear();
        }
        knownParents.insert(parent.native());
    }
}

bool Extraction::isWithinTarget(const std::filesystem::path& path) const {
    const auto resolved = resolvedText(path);
    return resolvedTarget && resolved && isTextWithin(*resolvedTarget, *resolved);
}

/// Whether the whole data of the current member arrived in `file`, which is closed.
bool Extraction::copyData(OutputFile& file) {
    for (auto piece = scanner.data(); !piece.empty(); piece = scanner.data()) {
        if (!file.write(piece)) {
            return false;
        }
    }
    return file.close();
}

void tell(std::error_code* where, const std::error_code& reason) {
    if (where != nullptr) {
        *where = reason;
    }
}

} // namespace

bool extractArchive(const std::filesystem::path& archivePath,
                    const std::filesystem::path& targetDir, std::string* error,
                    std::error_code* systemError) {
    ArchiveScanner scanner(archivePath);
    return extractArchive(scanner, targetDir, {archivePath, targetDir}, error, systemError);
}

bool extractArchive(ArchiveScanner& archive, const std::filesystem::path& targetDir,
                    const ExtractionNames& names, std::string* error,
                    std::error_code* systemError) {
    if (!archive.isOpen()) {
        return fail(error, "Could not open archive: " + names.archive.string());
    }
    Extraction extraction(archive, targetDir, names.target);
    while (const auto member = archive.next()) {
        if (auto reason = extraction.extract(member->name)) {
            tell(systemError, extraction.systemError());
            return fail(error, std::move(*reason));
        }
    }
    if (archive.hasFailed()) {
        tell(systemError, std::make_error_code(std::errc::io_error));
        return fail(error, "Could not read archive: " + names.archive.string());
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
