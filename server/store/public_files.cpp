#include "server/store/public_files.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <system_error>

#include "platform/file_system.h"
#include "server/protocol/documents.h"
#include "server/protocol/paths.h"
#include "server/store/packages.h"
#include "server/store/stored_file.h"
#include "store/sha256.h"

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

/// Links where the file system can, copies otherwise. What is at `place` stays until there is
/// something to replace it.
void linkArchive(const fs::path& archive, const fs::path& place) {
    std::error_code error;
    if (fs::equivalent(place, archive, error)) {
        return;
    }
    fs::create_directories(place.parent_path(), error);
    fs::path beside = place;
    beside += ".new";
    fs::remove(beside, error);
    fs::create_hard_link(archive, beside, error);
    if (error) {
        copyArchive(archive, beside);
    }
    fs::rename(beside, place, error);
    if (error) {
        throw StoreError("cannot replace " + place.string() + ": " + error.message());
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

/// The same with a sentence for what cannot be written.
void writeOwn(const PublicFile& file, const DataDirectory& data,
              std::vector<std::string>& problems) {
    try {
        writeOwn(file, data);
    } catch (const StoreError& error) {
        problems.emplace_back(error.what());
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

std::set<fs::path> placesOf(const std::vector<PublicFile>& files, const DataDirectory& data) {
    std::set<fs::path> places;
    for (const PublicFile& file : files) {
        places.insert(placeOf(file, FileLayout::Tree, data.publicFiles()));
    }
    return places;
}

/// What the database accounts for in the public tree.
class KnownPlaces {
public:
    KnownPlaces(Database& database, const DataDirectory& data) {
        std::vector<PublicFile> files{notFoundFile()};
        for (const std::string& name : packageNames(database, PackageChoice::All)) {
            const auto package = findPackage(database, name);
            if (package && package->publicFilesAreStale) {
                staleDirectories.push_back(data.publicFiles() / packagePath(name));
            } else if (package) {
                std::ranges::move(filesOf(*package, {}), std::back_inserter(files));
            }
        }
        places = placesOf(files, data);
    }

    [[nodiscard]] bool contains(const fs::path& place) const {
        // Of a package whose files are stale, anything may be there for now.
        const auto isAbove = [&](const fs::path& directory) {
            return std::ranges::mismatch(directory, place).in1 == directory.end();
        };
        return places.contains(place) || std::ranges::any_of(staleDirectories, isAbove);
    }

private:
    std::set<fs::path> places;
    std::vector<fs::path> staleDirectories;
};

/// The files below a directory; what is removed meanwhile may be among them or not.
std::vector<fs::path> filesBelow(const fs::path& directory) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        if (!fs::is_directory(entry->symlink_status(ignored))) {
            files.push_back(entry->path());
        }
    }
    std::ranges::sort(files);
    return files;
}

/// Removes the files below a directory that have no place there.
void removeOthers(const fs::path& directory, const std::set<fs::path>& places,
                  std::vector<std::string>& problems) {
    for (const fs::path& file : filesBelow(directory)) {
        std::error_code error;
        if (!places.contains(file) && !fs::remove(file, error) && error) {
            problems.push_back("cannot remove " + file.string() + ": " + error.message());
        }
    }
}

/// Removes what a killed process left among the files of a package.
void removeRemains(Database& database, const DataDirectory& data, const std::string& package) {
    if (const auto entry = findPackage(database, package)) {
        std::vector<std::string> ignored;
        removeOthers(data.publicFiles() / packagePath(package), placesOf(filesOf(*entry, {}), data),
                     ignored);
    }
}

/// Writes one file of the public tree from an archive that is what it should be, or a sentence why
/// not.
void writeAnew(const PublicFile& file, const DataDirectory& data,
               std::vector<std::string>& problems) {
    if (!file.digest.empty() && sha256File(data.archive(file.digest)) != file.digest) {
        problems.push_back("public file " + file.path +
                           " stays as it is: its archive is missing or damaged");
        return;
    }
    writeOwn(file, data, problems);
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
            if (sha256File(place) != file.digest) {
                throw StoreError("the archive " + data.archive(file.digest).string() +
                                 " is damaged");
            }
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

std::vector<std::string> refreshStalePublicFiles(Database& database, const DataDirectory& data) {
    std::vector<std::string> problems;
    Transaction turn(database, Transaction::Kind::Write);
    writeOwn(notFoundFile(), data, problems);
    for (const std::string& name : packageNames(database, PackageChoice::Stale)) {
        if (const auto package = findPackage(database, name)) {
            for (const PublicFile& file : filesOf(*package, {})) {
                writeOwn(file, data, problems);
            }
        }
        removeRemains(database, data, name);
    }
    flushFileSystem(data.publicFiles());
    if (problems.empty()) {
        markPublicFilesFresh(database);
    }
    turn.commit();
    return problems;
}

std::vector<std::string> rebuildPublicFiles(Database& database, const DataDirectory& data) {
    std::vector<std::string> problems;
    Transaction turn(database, Transaction::Kind::Write);
    std::vector<PublicFile> files{notFoundFile()};
    for (const std::string& name : packageNames(database, PackageChoice::All)) {
        if (const auto package = findPackage(database, name)) {
            std::ranges::move(filesOf(*package, {}), std::back_inserter(files));
        }
    }
    for (const PublicFile& file : files) {
        writeAnew(file, data, problems);
    }
    removeOthers(data.publicFiles(), placesOf(files, data), problems);
    flushFileSystem(data.publicFiles());
    markPublicFilesFresh(database);
    turn.commit();
    return problems;
}

std::vector<fs::path> findStrayPublicFiles(Database& database, const DataDirectory& data) {
    std::vector<fs::path> strays = filesBelow(data.publicFiles());
    const auto forget = [&](const auto& isFine) { std::erase_if(strays, isFine); };
    const KnownPlaces known(database, data);
    forget([&](const fs::path& file) { return known.contains(file); });
    if (!strays.empty()) {
        // What nobody knew may have been published, or been on its way to its name, just now.
        const KnownPlaces now(database, data);
        std::error_code ignored;
        forget([&](const fs::path& file) {
            return now.contains(file) || !fs::exists(fs::symlink_status(file, ignored));
        });
    }
    return strays;
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
