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

/// Files that no version has. Asks again before counting: a publication may have just ended.
std::uint64_t countUnused(Database& database, const DataDirectory& data,
                          const std::set<std::string>& used) {
    std::uint64_t count = 0;
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(data.archives(), ignored)) {
        const std::string digest = entry.path().stem().string();
        if (!entry.is_regular_file(ignored) || used.contains(digest)) {
            continue;
        }
        Statement row = database.statement("SELECT 1 FROM versions WHERE digest = ?");
        count += row.bind(digest).next() ? 0U : 1U;
    }
    return count;
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
    report.unusedArchives = countUnused(database, data, used);
    return report;
}

} // namespace mos::server
