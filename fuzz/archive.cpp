#include "archive/package_archive.h"

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>

#include "archive/archive_scanner.h"
#include "archive/extraction.h"
#include "archive/unpacked_comparison.h"
#include "room.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

namespace fs = std::filesystem;

/// The names in the directories around the target.
std::set<std::string> surroundings(const Room& room) {
    std::set<std::string> names;
    for (const char* const around : {".", "inner"}) {
        for (const auto& entry : fs::directory_iterator(room / around)) {
            names.insert(entry.path().string());
        }
    }
    return names;
}

void checkReadAndWritten(const Room& room) {
    std::vector<ArchiveEntry> entries;
    require(PackageArchive::read(room / "archive.mos", entries, nullptr), "any file is read");
    for (ArchiveEntry& entry : entries) {
        entry.name.resize(std::min<std::size_t>(entry.name.size(), 65535));
    }
    require(PackageArchive::write(room / "again.mos", entries, nullptr), "an archive is written");
    std::vector<ArchiveEntry> again;
    require(PackageArchive::read(room / "again.mos", again, nullptr), "an archive is read");
    require(again.size() == entries.size(), "members survive a round");
    for (std::size_t i = 0; i < entries.size(); ++i) {
        require(again[i].data == entries[i].data, "data survive a round");
    }
    fs::remove(room / "again.mos");
}

/// A name below `directory` that nothing has.
fs::path freeName(const fs::path& directory) {
    fs::path name = directory / "one more";
    while (fs::exists(fs::symlink_status(name))) {
        name += "+";
    }
    return name;
}

/// What was unpacked into an empty place compares as unpacked there.
void checkComparison(const Room& room) {
    const fs::path fresh = room / "fresh";
    try {
        if (!extractArchive(room / "archive.mos", fresh, nullptr)) {
            return;
        }
    } catch (const fs::filesystem_error&) {
        return;
    }
    ArchiveScanner scanner(room / "archive.mos");
    require(isUnpackedAt(scanner, fresh), "what was unpacked is what the archive holds");
    if (fs::exists(fresh)) {
        writeFile(freeName(fresh), "");
        require(scanner.rewind() && !isUnpackedAt(scanner, fresh), "one more file is noticed");
        fs::remove_all(fresh);
    }
}

} // namespace

void archive(std::string_view input) {
    const Room room;
    fs::create_directories(room / "inner/target");
    writeFile(room / "archive.mos", input);
    checkReadAndWritten(room);
    checkComparison(room);
    fs::create_directory_symlink("../..", room / "inner/target/link");
    const auto before = surroundings(room);
    std::string error;
    try {
        const bool done = extractArchive(room / "archive.mos", room / "inner/target", &error);
        require(done == error.empty(), "an extraction that fails says why");
    } catch (const fs::filesystem_error& failure) {
        require(std::string_view(failure.what()).find("create_directories") !=
                    std::string_view::npos,
                "only directories fail in another way");
    }
    require(surroundings(room) == before, "nothing outside the target changes");
}

} // namespace mos::fuzz
