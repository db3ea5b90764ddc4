#include "archive/package_archive.h"

#include <utility>

#include "archive/archive_builder.h"
#include "archive/archive_scanner.h"
#include "platform/failure.h"

namespace mos::PackageArchive {
namespace {

std::vector<std::byte> readWholeData(ArchiveScanner& scanner,
                                     const ArchiveScanner::Member& member) {
    std::vector<std::byte> data;
    data.reserve(static_cast<std::size_t>(member.availableSize));
    for (auto piece = scanner.data(); !piece.empty(); piece = scanner.data()) {
        data.insert(data.end(), piece.begin(), piece.end());
    }
    return data;
}

} // namespace

bool write(const std::filesystem::path& path, const std::vector<ArchiveEntry>& entries,
           std::string* error) {
    ArchiveBuilder builder;
    for (const ArchiveEntry& entry : entries) {
        builder.add(entry.name, entry.data);
    }
    return builder.write(path, error, nullptr);
}

bool read(const std::filesystem::path& path, std::vector<ArchiveEntry>& entries,
          std::string* error) {
    ArchiveScanner scanner(path);
    if (!scanner.isOpen()) {
        return fail(error, "Could not open archive: " + path.string());
    }
    while (auto member = scanner.next()) {
        auto data = readWholeData(scanner, *member);
        entries.push_back({std::move(member->name), std::move(data)});
    }
    return !scanner.hasFailed() || fail(error, "Could not read archive: " + path.string());
}

} // namespace mos::PackageArchive
