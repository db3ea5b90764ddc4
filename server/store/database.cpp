#include "server/store/database.h"

#include <sqlite3.h>

namespace mos::server {
namespace {

constexpr int waitForWritersMs = 10'000;

[[noreturn]] void raise(sqlite3* connection) {
    const std::string message = std::string("database: ") + sqlite3_errmsg(connection);
    const int code = sqlite3_errcode(connection);
    if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) {
        throw DamagedDatabase(message);
    }
    throw DatabaseError(message);
}

} // namespace

Statement::~Statement() {
    if (statement != nullptr) {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
}

void Statement::check(int result) const {
    if (result != SQLITE_OK) {
        raise(sqlite3_db_handle(statement));
    }
}

Statement& Statement::bind(std::string_view text) {
    check(sqlite3_bind_text64(statement, ++bound, text.data() == nullptr ? "" : text.data(),
                              text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Statement& Statement::bind(std::int64_t number) {
    check(sqlite3_bind_int64(statement, ++bound, number));
    return *this;
}

Statement& Statement::bind(std::span<const unsigned char> bytes) {
    check(sqlite3_bind_blob64(statement, ++bound, bytes.data(), bytes.size(), SQLITE_TRANSIENT));
    return *this;
}

bool Statement::next() {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        raise(sqlite3_db_handle(statement));
    }
    return false;
}

int Statement::run() {
    while (next()) {
    }
    return sqlite3_changes(sqlite3_db_handle(statement));
}

std::string Statement::text(int column) const {
    const auto* const characters = sqlite3_column_text(statement, column);
    if (characters == nullptr) {
        return {};
    }
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
    return {reinterpret_cast<const char*>(characters), size};
}

std::int64_t Statement::number(int column) const {
    return sqlite3_column_int64(statement, column);
}

std::vector<unsigned char> Statement::bytes(int column) const {
    const auto* const data =
        static_cast<const unsigned char*>(sqlite3_column_blob(statement, column));
    return {data, data + sqlite3_column_bytes(statement, column)};
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(statement, column) == SQLITE_NULL;
}

void Database::Close::operator()(sqlite3* connection) const noexcept {
    sqlite3_close_v2(connection);
}

void Database::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

Database::Database(const std::filesystem::path& path) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection.reset(opened);
    if (result != SQLITE_OK) {
        throw DatabaseError("database " + path.string() + ": " + sqlite3_errstr(result));
    }
    sqlite3_busy_timeout(opened, waitForWritersMs);
    execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;"
            "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
}

Database::~Database() = default;

Statement Database::statement(const char* sql) {
    auto& kept = prepared[sql];
    if (!kept) {
        sqlite3_stmt* fresh = nullptr;
        if (sqlite3_prepare_v3(connection.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &fresh,
                               nullptr) != SQLITE_OK) {
            raise(connection.get());
        }
        kept.reset(fresh);
    }
    return Statement(kept.get());
}

void Database::execute(const char* sql) {
    if (sqlite3_exec(connection.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        raise(connection.get());
    }
}

std::int64_t Database::lastRow() const {
    return sqlite3_last_insert_rowid(connection.get());
}

Transaction::Transaction(Database& target, Kind kind) : database(target) {
    database.execute(kind == Kind::Write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (!isOpen) {
        return;
    }
    try {
        database.execute("ROLLBACK");
    } catch (const DatabaseError&) {
        // SQLite has rolled back already when the disk failed; there is nothing left to undo.
        isOpen = false;
    }
}

void Transaction::commit() {
    database.execute("COMMIT");
    isOpen = false;
}

} // namespace mos::server
