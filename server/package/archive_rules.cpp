#include "server/package/archive_rules.h"

#include <algorithm>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "archive/archive_scanner.h"
#include "archive/extraction.h"
#include "archive/package_archive.h"
#include "platform/windows_device.h"
#include "server/package/published_text.h"
#include "store/sha256.h"

namespace mos::server {
namespace {

constexpr std::size_t longestName = 1000;
constexpr std::size_t longestPiece = 255;
constexpr std::string_view manifestName = "moss.toml";

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string folded(std::string_view name) {
    std::string text(name);
    std::ranges::transform(text, text.begin(), lowerCase);
    return text;
}

bool isRefusedCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f ||
           std::string_view("\\:*?\"<>|").find(c) != std::string_view::npos;
}

/// Whether a piece between two "/" names a file or directory of its own on every system.
bool isOrdinaryPiece(std::string_view piece) {
    return !piece.empty() && piece.size() <= longestPiece && !piece.ends_with('.') &&
           !piece.ends_with(' ') && !isWindowsDevice(piece);
}

std::vector<std::string_view> piecesOf(std::string_view name) {
    std::vector<std::string_view> pieces;
    while (true) {
        const std::size_t length = std::min(name.find('/'), name.size());
        pieces.push_back(name.substr(0, length));
        if (length == name.size()) {
            return pieces;
        }
        name.remove_prefix(length + 1);
    }
}

/// Finds members that would meet at one place when they are unpacked.
class MemberNames {
public:
    /// False when `name` is there already, or one of the two would have to be a directory.
    bool add(const std::string& name) {
        const std::string key = folded(name);
        for (std::size_t end = key.rfind('/'); end != std::string::npos;
             end = key.rfind('/', end - 1)) {
            const std::string directory = key.substr(0, end);
            if (!directories.insert(directory).second) {
                // And so are those above it.
                break;
            }
            if (files.contains(directory)) {
                return false;
            }
        }
        return !directories.contains(key) && files.insert(key).second;
    }

    /// How many directories the members need.
    [[nodiscard]] std::size_t directoryCount() const noexcept { return directories.size(); }

private:
    std::set<std::string> files;
    std::set<std::string> directories;
};

std::string inQuotes(std::string_view name) {
    return "'" + publishedText(name.substr(0, 200)) + "'";
}

/// Looks at the names and sizes alone, so that nothing is read into memory before it is known to be
/// little.
std::string refusalOfMembers(ArchiveScanner& scanner, const ArchiveLimits& limits) {
    MemberNames names;
    std::size_t count = 0;
    bool hasManifest = false;
    while (const auto member = scanner.next()) {
        if (++count > limits.members) {
            return "the archive has more than " + std::to_string(limits.members) + " members";
        }
        if (auto refusal = refusalOfMemberName(member->name)) {
            return *std::move(refusal);
        }
        if (!names.add(member->name)) {
            return "the member " + inQuotes(member->name) + " is there twice";
        }
        if (names.directoryCount() > limits.members) {
            return "the archive has more than " + std::to_string(limits.members) + " directories";
        }
        if (member->name == manifestName) {
            hasManifest = true;
            if (member->claimedSize > limits.manifestBytes) {
                return "moss.toml has more than " + std::to_string(limits.manifestBytes) + " bytes";
            }
        }
    }
    if (count == 0) {
        return "this is not a .mos archive";
    }
    return hasManifest ? "" : "the archive has no moss.toml";
}

std::string textOf(const ArchiveEntry& entry) {
    return {reinterpret_cast<const char*>(entry.data.data()), entry.data.size()};
}

} // namespace

std::optional<std::string> refusalOfMemberName(const std::string& name) {
    // What is no UTF-8 is published as "?", and a control character as one blank for two bytes.
    const std::string shown = publishedText("." + name + ".");
    const bool isFit = name.size() <= longestName && isSafeEntryName(name) &&
                       std::ranges::none_of(name, isRefusedCharacter) &&
                       std::ranges::all_of(piecesOf(name), isOrdinaryPiece) &&
                       shown.find('?') == std::string::npos && shown.size() == name.size() + 2;
    if (isFit) {
        return std::nullopt;
    }
    return "the member name " + inQuotes(name) + " is not allowed";
}

ArchiveReading readPublishedArchive(const std::filesystem::path& archive, const std::string& digest,
                                    const std::filesystem::path& scratch,
                                    const ArchiveLimits& limits) {
    ArchiveReading reading;
    ArchiveScanner scanner(archive);
    if (scanner.isOpen()) {
        reading.refusal = refusalOfMembers(scanner, limits);
    }
    if (!scanner.isOpen() || scanner.hasFailed()) {
        reading.refusal.clear();
        reading.failure = "an upload could not be checked: cannot read " + archive.string();
        return reading;
    }
    if (!reading.refusal.empty()) {
        return reading;
    }
    std::vector<ArchiveEntry> entries;
    std::string error;
    // Writing the members anew with the writer of mos finds everything that is not as it writes:
    // what is cut off or appended, other methods, flags and times, wrong sums and directories.
    const bool isWritten = PackageArchive::read(archive, entries, &error) &&
                           PackageArchive::write(scratch, entries, &error);
    const std::string digestAnew = isWritten ? sha256File(scratch) : "";
    std::error_code ignored;
    std::filesystem::remove(scratch, ignored);
    if (digestAnew.empty()) {
        reading.failure = "an upload could not be checked: " +
                          (isWritten ? "cannot read " + scratch.string() : error);
    } else if (digestAnew != digest) {
        reading.refusal = "the archive is damaged, or not as mos writes it";
    } else {
        reading.manifest = textOf(*std::ranges::find(entries, manifestName, &ArchiveEntry::name));
    }
    return reading;
}

} // namespace mos::server
