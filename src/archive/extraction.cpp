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

/// The resolved path as text; nothing when it cannot be resolved, with the reason in `error`, or
/// has no text in the system's encoding.
std::optional<std::string> resolvedText(const std::filesystem::path& path, std::error_code& error) {
    const auto resolved = resolvedPath(path, error);
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

/// A failure before anything is written of a member.
ExtractionFailure refusedName(std::string message, const std::error_code& reason) {
    return {std::move(message), reason, !reason || refusesName(reason)};
}

/// Unpacks members into one directory.
class Extraction {
public:
    Extraction(ArchiveScanner& source, std::filesystem::path target,
               std::filesystem::path shownTarget)
        : scanner(source),
          targetDir(std::move(target)),
          shownDir(std::move(shownTarget)),
          resolvedTarget(resolvedText(targetDir, targetError)) {}

    /// Screens and writes one member; why that failed.
    [[nodiscard]] std::optional<ExtractionFailure> extract(const std::string& name);

private:
    [[nodiscard]] std::string writeFailure(const std::string& relativePath) const;
    [[nodiscard]] bool isWithinTarget(const std::filesystem::path& path,
                                      std::error_code& error) const;
    [[nodiscard]] OutputFile openBelowKnownParent(const std::filesystem::path& path) const;
    void createShown(const std::filesystem::path& directory) const;
    void prepareParent(const std::filesystem::path& path);
    [[nodiscard]] bool copyData(OutputFile& file);

    ArchiveScanner& scanner;
    std::filesystem::path targetDir;
    std::filesystem::path shownDir; ///< in messages
    std::error_code targetError;    ///< why the target cannot be resolved
    std::optional<std::string> resolvedTarget;
    std::set<std::filesystem::path::string_type> knownParents; ///< made, and within the target
};

std::optional<ExtractionFailure> Extraction::extract(const std::string& name) {
    if (!isSafeEntryName(name)) {
        return refusedName("Path traversal security violation in archive entry: " + name, {});
    }
    const std::string relativePath = withSlashes(name);
    if (!isPlainFileName(relativePath)) {
        return refusedName(writeFailure(relativePath), {});
    }
    const std::filesystem::path path = targetDir / relativePath;
    OutputFile file = openBelowKnownParent(path);
    std::error_code error;
    if (!file.isOpen()) {
        if (!isWithinTarget(path, error)) {
            return refusedName("Archive path escapes target directory: " + name, error);
        }
        prepareParent(path);
        file = OutputFile(path, OutputMode::CreateNew);
    }
    if (!file.isOpen() && isWithinTarget(path, error)) {
        file = OutputFile(path);
    }
    if (!file.isOpen()) {
        return refusedName(writeFailure(relativePath), error ? error : file.error());
    }
    if (!copyData(file)) {
        return ExtractionFailure{writeFailure(relativePath), file.error(), false};
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
    std::error_code error;
    if (isWithinTarget(parent, error)) {
        if (knownParents.size() >= mostKnownParents) {
            knownParents.clear();
        }
        knownParents.insert(parent.native());
    }
}

/// False with the reason in `error` when the system cannot say.
bool Extraction::isWithinTarget(const std::filesystem::path& path, std::error_code& error) const {
    if (!resolvedTarget) {
        error = targetError;
        return false;
    }
    const auto resolved = resolvedText(path, error);
    return resolved && isTextWithin(*resolvedTarget, *resolved);
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

} // namespace

bool extractArchive(const std::filesystem::path& archivePath,
                    const std::filesystem::path& targetDir, std::string* error) {
    ArchiveScanner scanner(archivePath);
    auto failure = extractMembers(scanner, targetDir, {archivePath, targetDir});
    return !failure || fail(error, std::move(failure->message));
}

std::optional<ExtractionFailure> extractMembers(ArchiveScanner& archive,
                                                const std::filesystem::path& targetDir,
                                                const ExtractionNames& names) {
    if (!archive.isOpen()) {
        return ExtractionFailure{"Could not open archive: " + names.archive.string(), {}, false};
    }
    Extraction extraction(archive, targetDir, names.target);
    while (const auto member = archive.next()) {
        if (auto failure = extraction.extract(member->name)) {
            return failure;
        }
    }
    if (archive.hasFailed()) {
        return ExtractionFailure{"Could not read archive: " + names.archive.string(),
                                 std::make_error_code(std::errc::io_error), false};
    }
    return std::nullopt;
}

bool refusesName(const std::error_code& reason) noexcept {
    using std::errc;
    constexpr std::array refusals{
        errc::file_exists,           errc::filename_too_long,
        errc::illegal_byte_sequence, errc::invalid_argument,
        errc::is_a_directory,        errc::no_such_file_or_directory,
        errc::not_a_directory,       errc::too_many_symbolic_link_levels,
    };
    return std::ranges::any_of(refusals, [&reason](errc known) { return reason == known; });
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
    std::error_code error;
    const auto resolvedBase = resolvedText(base, error);
    const auto resolved = resolvedText(path, error);
    return resolvedBase && resolved && isTextWithin(*resolvedBase, *resolved);
}

} // namespace mos
