#include "server/store/packages.h"

#include <algorithm>

#include "server/package/manifest_rules.h"
#include "server/protocol/documents.h"
#include "server/store/clock.h"

namespace mos::server {
namespace {

struct PackageRow {
    std::int64_t id = 0;
    std::string name;
    std::int64_t owner = 0;
};

std::optional<PackageRow> findRow(Database& database, std::string_view foldedName) {
    Statement row =
        database.statement("SELECT id, name, owner FROM packages WHERE folded_name = ?");
    row.bind(foldedName);
    if (!row.next()) {
        return std::nullopt;
    }
    return PackageRow{row.number(0), row.text(1), row.number(2)};
}

struct ListedVersion {
    Version version;
    std::string description;
    std::string license;
    bool isYanked = false;
};

std::vector<ListedVersion> versionsOf(Database& database, std::int64_t package) {
    Statement row = database.statement(
        "SELECT version, description, license, yanked FROM versions WHERE package = ?");
    row.bind(package);
    std::vector<ListedVersion> versions;
    while (row.next()) {
        if (auto version = Version::parse(row.text(0))) {
            versions.push_back({*std::move(version), row.text(1), row.text(2), !row.isNull(3)});
        }
    }
    std::ranges::sort(versions, {}, &ListedVersion::version);
    return versions;
}

/// The version that speaks for the package: the highest release that is listed, else the highest
/// pre-release; null when none is listed.
const ListedVersion* latestOf(const std::vector<ListedVersion>& versions) {
    const ListedVersion* latest = nullptr;
    for (const ListedVersion& candidate : versions) {
        if (!candidate.isYanked && (latest == nullptr || candidate.version.prerelease.empty() ||
                                    !latest->version.prerelease.empty())) {
            latest = &candidate;
        }
    }
    return latest;
}

PackageSummary summaryOf(const std::string& name, const std::vector<ListedVersion>& versions) {
    PackageSummary summary;
    summary.name = name;
    for (const ListedVersion& version : versions) {
        if (!version.isYanked) {
            summary.versions.push_back(version.version.to_string());
        }
    }
    if (const ListedVersion* const latest = latestOf(versions)) {
        summary.latest = latest->version.to_string();
        summary.description = latest->description;
        summary.license = latest->license;
    }
    return summary;
}

void updatePackage(Database& database, std::int64_t id, const std::string& name) {
    const PackageSummary summary = summaryOf(name, versionsOf(database, id));
    const bool isListed = !summary.versions.empty();
    database
        .statement("UPDATE packages SET is_listed = ?, description = ?, package_document = ?,"
                   " versions_document = ?, search_document = ?, public_files_are_stale = 1"
                   " WHERE id = ?")
        .bind(isListed ? 1 : 0)
        .bind(summary.description)
        .bind(packageDocument(summary))
        .bind(versionsDocument(summary.versions))
        .bind(isListed ? searchDocument(summary) : std::string())
        .bind(id)
        .run();
}

std::int64_t insertPackage(Database& database, const Account& account, const std::string& name) {
    database.statement("INSERT INTO packages (name, folded_name, owner) VALUES (?, ?, ?)")
        .bind(name)
        .bind(foldedName(name))
        .bind(account.id)
        .run();
    return database.lastRow();
}

void insertVersion(Database& database, std::int64_t package, const Account& account,
                   const PackageRecord& record, const StoredArchive& archive) {
    const std::string version = record.version.to_string();
    database
        .statement("INSERT INTO versions (package, version, digest, size, description, license,"
                   " publisher, published, version_document) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(package)
        .bind(version)
        .bind(archive.digest)
        .bind(static_cast<std::int64_t>(archive.size))
        .bind(record.description)
        .bind(record.license)
        .bind(account.id)
        .bind(timestamp())
        .bind(versionDocument(record, archive.digest))
        .run();
    std::int64_t position = 0;
    for (const Dependency& dependency : record.dependencies) {
        database
            .statement("INSERT INTO dependencies (package, version, position, name, requirement)"
                       " VALUES (?, ?, ?, ?, ?)")
            .bind(package)
            .bind(version)
            .bind(position++)
            .bind(dependency.name)
            .bind(dependency.constraint)
            .run();
    }
}

std::vector<Dependency> dependenciesOf(Database& database, std::int64_t package,
                                       std::string_view version) {
    Statement row = database.statement("SELECT name, requirement FROM dependencies"
                                       " WHERE package = ? AND version = ? ORDER BY position");
    row.bind(package).bind(version);
    std::vector<Dependency> dependencies;
    while (row.next()) {
        dependencies.push_back({row.text(0), row.text(1)});
    }
    return dependencies;
}

struct DocumentedVersion {
    std::int64_t package = 0;
    PackageRecord record;
    std::string digest;
};

std::vector<DocumentedVersion> allVersions(Database& database) {
    Statement row =
        database.statement("SELECT packages.id, packages.name, version, digest FROM versions"
                           " JOIN packages ON packages.id = versions.package");
    std::vector<DocumentedVersion> versions;
    while (row.next()) {
        if (auto version = Version::parse(row.text(2))) {
            versions.push_back(
                {row.number(0), {row.text(1), *std::move(version), {}, {}, {}}, row.text(3)});
        }
    }
    return versions;
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return result;
}

std::optional<std::string> firstText(Statement& row) {
    return row.next() ? std::optional(row.text(0)) : std::nullopt;
}

/// The version of a package that is `version` where case does not count.
std::optional<std::string> findVersionInOtherCase(Database& database, std::int64_t package,
                                                  std::string_view version) {
    Statement row = database.statement("SELECT version FROM versions WHERE package = ?"
                                       " AND version = ? COLLATE NOCASE");
    row.bind(package).bind(version);
    return firstText(row);
}

} // namespace

std::optional<std::string> findDocument(Database& database, std::string_view name,
                                        DocumentKind kind) {
    Statement row =
        kind == DocumentKind::Package
            ? database.statement("SELECT package_document FROM packages WHERE name = ?")
            : database.statement("SELECT versions_document FROM packages WHERE name = ?");
    row.bind(name);
    return firstText(row);
}

std::optional<std::string> findVersionDocument(Database& database, std::string_view name,
                                               std::string_view version) {
    Statement row = database.statement(
        "SELECT version_document FROM versions"
        " WHERE package = (SELECT id FROM packages WHERE name = ?) AND version = ?");
    row.bind(name).bind(version);
    return firstText(row);
}

std::optional<StoredArchive> findArchive(Database& database, std::string_view name,
                                         std::string_view version) {
    Statement row = database.statement(
        "SELECT digest, size FROM versions"
        " WHERE package = (SELECT id FROM packages WHERE name = ?) AND version = ?");
    row.bind(name).bind(version);
    if (!row.next()) {
        return std::nullopt;
    }
    return StoredArchive{row.text(0), static_cast<std::uint64_t>(row.number(1))};
}

std::vector<std::string> search(Database& database, std::string_view query, std::size_t limit) {
    Statement row = database.statement("SELECT search_document FROM packages WHERE is_listed"
                                       " AND (instr(name, ?1) OR instr(lower(description), ?1))"
                                       " ORDER BY name <> ?1, instr(name, ?1) = 0, name LIMIT ?2");
    row.bind(lowerCase(query)).bind(static_cast<std::int64_t>(limit));
    std::vector<std::string> documents;
    while (row.next()) {
        documents.push_back(row.text(0));
    }
    return documents;
}

PublishVerdict judgePublication(Database& database, const Account& account,
                                const PackageRecord& record, std::string_view digest) {
    using Kind = PublishVerdict::Kind;
    const auto package = findRow(database, foldedName(record.name));
    if (!package) {
        return {Kind::New, {}};
    }
    if (package->name != record.name) {
        return {Kind::NameTaken, package->name};
    }
    if (package->owner != account.id) {
        return {Kind::NotOwner, {}};
    }
    const auto stored = findArchive(database, record.name, record.version.to_string());
    if (!stored) {
        auto similar = findVersionInOtherCase(database, package->id, record.version.to_string());
        return similar ? PublishVerdict{Kind::VersionTaken, *std::move(similar)}
                       : PublishVerdict{Kind::New, {}};
    }
    return {stored->digest == digest ? Kind::Same : Kind::Conflict, {}};
}

PublishVerdict addVersion(Database& database, const Account& account, const PackageRecord& record,
                          const StoredArchive& archive) {
    Transaction transaction(database, Transaction::Kind::Write);
    PublishVerdict verdict = judgePublication(database, account, record, archive.digest);
    if (verdict.kind != PublishVerdict::Kind::New) {
        return verdict;
    }
    const auto existing = findRow(database, foldedName(record.name));
    const std::int64_t package =
        existing ? existing->id : insertPackage(database, account, record.name);
    insertVersion(database, package, account, record, archive);
    updatePackage(database, package, record.name);
    audit(database, account.name, "publish", record.name + " " + record.version.to_string());
    transaction.commit();
    return verdict;
}

YankResult setYanked(Database& database, std::string_view name, std::string_view version,
                     bool isYanked) {
    Transaction transaction(database, Transaction::Kind::Write);
    const auto package = findRow(database, foldedName(name));
    if (!package || package->name != name || !findArchive(database, name, version)) {
        return YankResult::NotFound;
    }
    const int changed =
        (isYanked ? database.statement("UPDATE versions SET yanked = ?3"
                                       " WHERE package = ?1 AND version = ?2 AND yanked IS NULL")
                  : database.statement("UPDATE versions SET yanked = NULLIF(?3, ?3) WHERE"
                                       " package = ?1 AND version = ?2 AND yanked IS NOT NULL"))
            .bind(package->id)
            .bind(version)
            .bind(timestamp())
            .run();
    if (changed == 0) {
        return YankResult::Unchanged;
    }
    updatePackage(database, package->id, package->name);
    audit(database, "operator", isYanked ? "yank" : "yank --undo",
          std::string(name) + " " + std::string(version));
    transaction.commit();
    return YankResult::Done;
}

void rewriteDocuments(Database& database) {
    Transaction transaction(database, Transaction::Kind::Write);
    for (DocumentedVersion& version : allVersions(database)) {
        const std::string text = version.record.version.to_string();
        version.record.dependencies = dependenciesOf(database, version.package, text);
        database
            .statement("UPDATE versions SET version_document = ? WHERE package = ? AND version = ?")
            .bind(versionDocument(version.record, version.digest))
            .bind(version.package)
            .bind(text)
            .run();
    }
    for (const std::string& name : packageNames(database, PackageChoice::All)) {
        if (const auto package = findRow(database, foldedName(name))) {
            updatePackage(database, package->id, name);
        }
    }
    transaction.commit();
}

std::vector<std::string> packageNames(Database& database, PackageChoice choice) {
    Statement row =
        choice == PackageChoice::All
            ? database.statement("SELECT name FROM packages ORDER BY name")
            : database.statement(
                  "SELECT name FROM packages WHERE public_files_are_stale ORDER BY name");
    std::vector<std::string> names;
    while (row.next()) {
        names.push_back(row.text(0));
    }
    return names;
}

std::optional<PackageEntry> findPackage(Database& database, std::string_view name) {
    PackageEntry entry;
    Statement package =
        database.statement("SELECT id, package_document, versions_document, public_files_are_stale"
                           " FROM packages WHERE name = ?");
    package.bind(name);
    if (!package.next()) {
        return std::nullopt;
    }
    entry.name = name;
    entry.packageDocument = package.text(1);
    entry.versionsDocument = package.text(2);
    entry.publicFilesAreStale = package.number(3) != 0;
    Statement version = database.statement("SELECT version, version_document, digest, size"
                                           " FROM versions WHERE package = ? ORDER BY version");
    version.bind(package.number(0));
    while (version.next()) {
        entry.versions.push_back(
            {version.text(0),
             version.text(1),
             {version.text(2), static_cast<std::uint64_t>(version.number(3))}});
    }
    return entry;
}

void markPublicFilesFresh(Database& database) {
    database
        .statement("UPDATE packages SET public_files_are_stale = 0 WHERE public_files_are_stale")
        .run();
}

} // namespace mos::server
