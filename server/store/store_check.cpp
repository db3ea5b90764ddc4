#include "server/store/store_check.h"

#include <set>
#include <system_error>

#include "server/store/packages.h"
#include "server/store/public_files.h"
#include "store/sha256.h"

namespace mos::server {
namespace {

void checkDatabase(Database& database, StoreReport& report) {
    Statement row = database.statement("PRAGMA integrity_check");
    while (row.next()) {
        if (row.text(0) != "ok") {
            report.problems.push_back("database: " + row.text(0));
        }
    }
    Statement broken = database.statement("PRAGMA foreign_key_check");
    while (broken.next()) {
        report.problems.push_back("database: a row of " + broken.text(0) +
                                  " belongs to nothing in " + broken.text(2));
    }
}

void checkArchive(const std::string& name, const VersionEntry& version, const DataDirectory& data,
                  StoreReport& report) {
    const std::string title = name + " " + version.version + ": ";
    const auto path = data.archive(version.archive.digest);
    const std::string digest = sha256File(path);
    if (digest.empty()) {
        report.problems.push_back(title + "the archive is missing");
    } else if (digest != version.archive.digest) {
        report.problems.push_back(title + "the archive is damaged");
    }
    if (version.document.find("sha256:" + version.archive.digest) == std::string::npos) {
        report.problems.push_back(title + "the document names another checksum");
    }
    ++report.versions;
    report.bytes += version.archive.size;
}

bool isUsed(Database& database, const std::string& digest) {
    Statement row = database.statement("SELECT 1 FROM versions WHERE digest = ?");
    return row.bind(digest).next();
}

/// Looks at the files that no version has. Asks again before: a publication may have just ended.
void checkUnused(Database& database, const DataDirectory& data, const std::set<std::string>& used,
                 StoreReport& report) {
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(data.archives(), ignored)) {
        const auto& path = entry.path();
        const std::string digest = path.stem().string();
        const bool isInPlace = digest.size() == 64 && path == data.archive(digest);
        if (!entry.is_regular_file(ignored) ||
            (isInPlace && (used.contains(digest) || isUsed(database, digest)))) {
            continue;
        }
        ++report.unusedArchives;
        if (!isInPlace || sha256File(path) != digest) {
            report.problems.push_back("unused archive " + path.filename().string() +
                                      ": its name is not that of its bytes");
        }
    }
}

} // namespace

StoreReport checkStore(Database& database, const DataDirectory& data) {
    StoreReport report;
    checkDatabase(database, report);
    std::set<std::string> used;
    for (const std::string& name : packageNames(database, PackageChoice::All)) {
        const auto package = findPackage(database, name);
        if (!package) {
            continue;
        }
        for (const VersionEntry& version : package->versions) {
            checkArchive(name, version, data, report);
            used.insert(version.archive.digest);
        }
        for (std::string& sentence : findWrongPublicFiles(database, data, name)) {
            report.problems.push_back(std::move(sentence));
        }
    }
    for (const auto& path : findStrayPublicFiles(database, data)) {
        report.problems.push_back("public file " +
                                  path.lexically_relative(data.publicFiles()).string() +
                                  " belongs to nothing");
    }
    checkUnused(database, data, used, report);
    return report;
}

} // namespace mos::server
