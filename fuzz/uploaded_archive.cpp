#include <algorithm>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "archive/extraction.h"
#include "archive/package_archive.h"
#include "room.h"
#include "server/package/archive_rules.h"
#include "server/package/published_text.h"
#include "store/sha256.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

using namespace server;
namespace fs = std::filesystem;

constexpr ArchiveLimits limits{.bytes = 1 << 20, .members = 20, .manifestBytes = 4096};

std::vector<std::byte> bytesOf(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

/// Lines become members: the name up to the first "=", the data behind it. Most random bytes are no
/// archive at all; this way the names are tried.
void writeMembersOf(std::string_view lines, const fs::path& path) {
    std::vector<ArchiveEntry> entries;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        const std::size_t split = std::min(line.find('='), line.size());
        ArchiveEntry entry;
        entry.name = line.substr(0, std::min<std::size_t>(split, 65535));
        entry.data = bytesOf(line.substr(std::min(split + 1, line.size())));
        entries.push_back(std::move(entry));
    }
    require(PackageArchive::write(path, entries, nullptr), "an archive is written");
}

std::size_t filesBelow(const fs::path& directory) {
    const fs::recursive_directory_iterator all(directory);
    return static_cast<std::size_t>(
        std::ranges::count_if(begin(all), end(all), [](const fs::directory_entry& entry) {
            return entry.is_regular_file();
        }));
}

/// What is accepted is unpacked without a word and without one member lying on another.
void checkAccepted(const Room& room, const ArchiveReading& reading) {
    std::vector<ArchiveEntry> entries;
    require(PackageArchive::read(room / "upload", entries, nullptr), "an archive is read");
    require(entries.size() <= limits.members, "there are not too many members");
    require(reading.manifest.size() <= limits.manifestBytes, "a manifest is not too large");
    fs::create_directory(room / "target");
    require(extractArchive(room / "upload", room / "target", nullptr), "an archive is unpacked");
    require(filesBelow(room / "target") == entries.size(), "every member is a file of its own");
    require(fs::file_size(room / "target/moss.toml") == reading.manifest.size(),
            "moss.toml is the one that is unpacked");
}

} // namespace

/// An archive as it is, or one made of lines when the first byte is "=".
void uploadedArchive(std::string_view input) {
    const Room room;
    if (input.starts_with('=')) {
        writeMembersOf(input.substr(1), room / "upload");
    } else {
        writeFile(room / "upload", input);
    }
    const ArchiveReading reading = readPublishedArchive(
        room / "upload", sha256File(room / "upload"), room / "scratch", limits);
    require(reading.failure.empty(), "no disk failed");
    require(!fs::exists(room / "scratch"), "nothing is left behind");
    require(publishedText(reading.refusal) == reading.refusal, "a refusal is one plain line");
    if (reading.refusal.empty()) {
        checkAccepted(room, reading);
    }
}

} // namespace mos::fuzz
