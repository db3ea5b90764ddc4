#include "server/store/schema.h"

#include <fcntl.h>
#include <unistd.h>

#include "server/store/database.h"

namespace mos::server {
namespace {

constexpr std::int64_t applicationId = 0x6d6f7372;
constexpr std::int64_t schemaVersion = 1;

// Times are UTC in the form 2026-01-31T12:00:00Z. The documents are what readers are given, made
// when something of the package changes, so that a read is one look-up.
constexpr const char* tables = R"sql(
CREATE TABLE users (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    email TEXT NOT NULL UNIQUE COLLATE NOCASE,
    password TEXT NOT NULL,
    created TEXT NOT NULL
);
CREATE TABLE tokens (
    id TEXT PRIMARY KEY,
    user INTEGER NOT NULL REFERENCES users,
    hash BLOB NOT NULL,
    label TEXT NOT NULL,
    created TEXT NOT NULL,
    revoked TEXT
);
CREATE INDEX tokens_by_user ON tokens(user);
CREATE TABLE packages (
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    folded_name TEXT NOT NULL UNIQUE,
    owner INTEGER NOT NULL REFERENCES users,
    is_listed INTEGER NOT NULL DEFAULT 0,
    description TEXT NOT NULL DEFAULT '',
    public_files_are_stale INTEGER NOT NULL DEFAULT 1,
    package_document TEXT NOT NULL DEFAULT '',
    versions_document TEXT NOT NULL DEFAULT '',
    search_document TEXT NOT NULL DEFAULT ''
);
CREATE INDEX stale_packages ON packages(id) WHERE public_files_are_stale;
CREATE TABLE versions (
    package INTEGER NOT NULL REFERENCES packages,
    version TEXT NOT NULL,
    digest TEXT NOT NULL,
    size INTEGER NOT NULL,
    description TEXT NOT NULL,
    license TEXT NOT NULL,
    publisher INTEGER NOT NULL REFERENCES users,
    published TEXT NOT NULL,
    yanked TEXT,
    version_document TEXT NOT NULL,
    PRIMARY KEY (package, version)
) WITHOUT ROWID;
CREATE TABLE dependencies (
    package INTEGER NOT NULL,
    version TEXT NOT NULL,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    requirement TEXT NOT NULL,
    PRIMARY KEY (package, version, position),
    FOREIGN KEY (package, version) REFERENCES versions
) WITHOUT ROWID;
CREATE TABLE audit (
    id INTEGER PRIMARY KEY,
    time TEXT NOT NULL,
    actor TEXT NOT NULL,
    action TEXT NOT NULL,
    subject TEXT NOT NULL
);
)sql";

std::int64_t pragma(Database& database, const char* sql) {
    Statement statement = database.statement(sql);
    return statement.next() ? statement.number(0) : 0;
}

} // namespace

void prepareDatabase(const std::filesystem::path& path) {
    // SQLite gives its journals the mode of the database file.
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw DatabaseError("cannot open the database " + path.string());
    }
    close(descriptor);

    Database database(path);
    Transaction transaction(database, Transaction::Kind::Write);
    const std::int64_t id = pragma(database, "PRAGMA application_id");
    const std::int64_t version = pragma(database, "PRAGMA user_version");
    if (id == applicationId && version == schemaVersion) {
        return;
    }
    if (id != 0 || version != 0) {
        throw DatabaseError("the database " + path.string() +
                            (id == applicationId ? " was made by a later version of mos-registry"
                                                 : " belongs to another program"));
    }
    database.execute(tables);
    database.execute("PRAGMA application_id = 1836020594; PRAGMA user_version = 1");
    transaction.commit();
}

} // namespace mos::server
