#include "server/store/public_files.h"

#include <algorithm>
#include <iterator>
#include <system_error>

#include "platform/file_system.h"
#include "server/protocol/documents.h"
#include "server/protocol/paths.h"
#include "server/store/packages.h"
#include "server/store/stored_file.h"

namespace mos::server {
namespace {

namespace fs = std::filesystem;

/// Whether other paths continue a path.
enum class PathKind { Leaf, Branch };

/// What a reader gets for one path: a document, or else the archive of that digest.
struct PublicFile {
    std::string path; ///< without the first "/"
    PathKind kind = PathKind::Leaf;
    std::string document;
    std::string digest;
};

std::string packagePath(const std::string& package) {
    return std::string(packagesPath.substr(1)) + "/" + package;
}

std::vector<PublicFile> filesOfVersion(const std::string& package, const VersionEntry& version) {
    const std::string path = packagePath(package) + "/" + version.version;
    return {{path + "/download", PathKind::Leaf, {}, version.archive.digest},
            {path, PathKind::Branch, version.document, {}}};
}

/// In an order in which a reader who follows them finds everything that is named.
std::vector<PublicFile> filesOf(const PackageEntry& package, const std::string& onlyVersion) {
    std::vector<PublicFile> files;
    for (const VersionEntry& version : package.versions) {
        if (onlyVersion.empty() || onlyVersion == version.version) {
            std::ranges::move(filesOfVersion(package.name, version), std::back_inserter(files));
        }
    }
    const std::string path = packagePath(package.name);
    files.push_back({path, PathKind::Branch, package.packageDocument, {}});
    files.push_back({path + "/versions", PathKind::Leaf, package.versionsDocument, {}});
    return files;
}

PublicFile notFoundFile() {
    return {"not-found.json", PathKind::Leaf, errorDocument(notFoundReason), {}};
}

fs::path placeOf(const PublicFile& file, FileLayout layout, const fs::path& directory) {
    if (layout == FileLayout::Tree) {
        return file.kind == PathKind::Branch ? directory / file.path / "index.json"
                                             : directory / file.path;
    }
    std::string name;
    for (const char c : file.path) {
        name.append(c == '/' ? "%2F" : std::string(1, c));
    }
    return directory / name;
}

void copyArchive(const fs::path& archive, const fs::path& place) {
    std::error_code error;
    fs::create_directories(place.parent_path(), error);
    if (!error) {
        fs::copy_file(archive, place, fs::copy_options::overwrite_existing, error);
    }
    if (error) {
        throw StoreError("cannot copy " + archive.string() + " to " + place.string() + ": " +
                         error.message());
    }
}

/// Links where the file system can, copies otherwise.
void linkArchive(const fs::path& archive, const fs::path& place) {
    std::error_code error;
    if (fs::equivalent(place, archive, error)) {
        return;
    }
    fs::create_directories(place.parent_path(), error);
    fs::remove(place, error);
    fs::create_hard_link(archive, place, error);
    if (error) {
        copyArchive(archive, place);
    }
}

void writeOwn(const PublicFile& file, const DataDirectory& data) {
    const fs::path place = placeOf(file, FileLayout::Tree, data.publicFiles());
    if (file.digest.empty()) {
        replaceUnflushed(place, file.document);
    } else {
        linkArchive(data.archive(file.digest), place);
    }
}

void writeOwnPackage(Database& database, const DataDirectory& data, const std::string& package,
                     const std::string& version) {
    if (const auto entry = findPackage(database, package)) {
        for (const PublicFile& file : filesOf(*entry, version)) {
            writeOwn(file, data);
        }
    }
}

bool isAsItShouldBe(const PublicFile& file, const DataDirectory& data) {
    const fs::path place = placeOf(file, FileLayout::Tree, data.publicFiles());
    if (!file.digest.empty()) {
        std::error_code ignored;
        return fs::equivalent(place, data.archive(file.digest), ignored) ||
               sha256File(place) == file.digest;
    }
    return readFile(place) == file.document;
}

} // namespace

void exportFiles(Database& database, const DataDirectory& data, FileLayout layout,
                 const fs::path& directory) {
    const Transaction snapshot(database, Transaction::Kind::Read);
    const auto write = [&](const PublicFile& file) {
        const fs::path place = placeOf(file, layout, directory);
        if (file.digest.empty()) {
            replaceUnflushed(place, file.document);
        } else {
            copyArchive(data.archive(file.digest), place);
        }
    };
    for (const std::string& name : packageNames(database, PackageChoice::All)) {
        if (const auto package = findPackage(database, name)) {
            std::ranges::for_each(filesOf(*package, {}), write);
        }
    }
    const auto everything = search(database, "", mostSearchResults);
    write({std::string(packagesPath.substr(1)), PathKind::Branch, searchResults(everything), {}});
    write(notFoundFile());
    flushFileSystem(directory);
}

void refreshPublicFiles(Database& database, const DataDirectory& data, const std::string& package,
                        const std::string& version) {
    // Nothing is written to the database: the transaction keeps other writers away, so that no
    // older state overwrites a newer one.
    const Transaction turn(database, Transaction::Kind::Write);
    writeOwnPackage(database, data, package, version);
}

void refreshStalePublicFiles(Database& database, const DataDirectory& data) {
    Transaction turn(database, Transaction::Kind::Write);
    writeOwn(notFoundFile(), data);
    for (const std::string& name : packageNames(database, PackageChoice::Stale)) {
        writeOwnPackage(database, data, name, {});
    }
    flushFileSystem(data.publicFiles());
    markPublicFilesFresh(database);
    turn.commit();
}

void rebuildPublicFiles(Database& database, const DataDirectory& data) {
    Transaction turn(database, Transaction::Kind::Write);
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(data.publicFiles(), error)) {
        fs::remove_all(entry.path(), error);
    }
    writeOwn(notFoundFile(), data);
    for (const std::string& name : packageNames(database, PackageChoice::All)) {
        writeOwnPackage(database, data, name, {});
    }
    flushFileSystem(data.publicFiles());
    markPublicFilesFresh(database);
    turn.commit();
}

std::vector<std::string> findWrongPublicFiles(Database& database, const DataDirectory& data,
                                              const std::string& package) {
    std::vector<std::string> wrong;
    const auto entry = findPackage(database, package);
    if (!entry || entry->publicFilesAreStale) {
        return wrong;
    }
    for (const PublicFile& file : filesOf(*entry, {})) {
        if (!isAsItShouldBe(file, data)) {
            wrong.push_back("public file " + file.path + " is missing or different");
        }
    }
    if (!wrong.empty()) {
        // What looks wrong may have been changed since it was asked for.
        const auto now = findPackage(database, package);
        return now && !now->publicFilesAreStale ? wrong : std::vector<std::string>();
    }
    return wrong;
}

} // namespace mos::server
