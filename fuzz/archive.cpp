#include "archive/package_archive.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>

#include "archive/archive_scanner.h"
#include "archive/extraction.h"
#include "archive/unpacked_comparison.h"
#include "platform/file_system.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

namespace fs = std::filesystem;

/// A directory in memory, made anew for every input.
class Room {
public:
    Room() : directory(fs::path("/dev/shm") / ("mos-fuzz-" + std::to_string(::getpid()))) {
        fs::remove_all(directory);
        fs::create_directories(directory / "inner" / "target");
    }
    ~Room() {
        std::error_code ignored;
        fs::remove_all(directory, ignored);
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    [[nodiscard]] fs::path operator/(const char* name) const { return directory / name; }

    /// The names in the directories around the target.
    [[nodiscard]] std::set<std::string> surroundings() const {
        std::set<std::string> names;
        for (const fs::path& around : {directory, directory / "inner"}) {
            for (const auto& entry : fs::directory_iterator(around)) {
                names.insert(entry.path().string());
            }
        }
        return names;
    }

private:
    fs::path directory;
};

void writeFile(const fs::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
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
        writeFile(fresh / "one more \x7f", "");
        require(scanner.rewind() && !isUnpackedAt(scanner, fresh), "one more file is noticed");
        fs::remove_all(fresh);
    }
}

} // namespace

void archive(std::string_view input) {
    const Room room;
    writeFile(room / "archive.mos", input);
    checkReadAndWritten(room);
    checkComparison(room);
    fs::create_directory_symlink("../..", room / "inner/target/link");
    const auto before = room.surroundings();
    std::string error;
    try {
        const bool done = extractArchive(room / "archive.mos", room / "inner/target", &error);
        require(done == error.empty(), "an extraction that fails says why");
    } catch (const fs::filesystem_error& failure) {
        require(std::string_view(failure.what()).find("create_directories") !=
                    std::string_view::npos,
                "only directories fail in another way");
    }
    require(room.surroundings() == before, "nothing outside the target changes");
}

} // namespace mos::fuzz
