#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

/// The one door to SQLite.
namespace mos::server {

/// The database did not do what it was asked: a full disk, a damaged file, a broken rule of the
/// schema. `what()` is one line.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The file is no database or its pages contradict each other.
class DamagedDatabase : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

/// A statement with values bound to its parameters, read row by row. It goes back to the
/// connection that prepared it when the object goes.
class Statement {
public:
    explicit Statement(sqlite3_stmt* prepared) noexcept : statement(prepared) {}
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Binds the next parameter. Texts are copied.
    Statement& bind(std::string_view text);
    Statement& bind(std::int64_t number);
    Statement& bind(std::span<const unsigned char> bytes);

    /// Moves to the next row; false when there is none.
    [[nodiscard]] bool next();

    /// Runs a statement that gives no rows; returns how many it changed.
    int run();

    /// The columns of the current row, from 0. NULL is an empty text, 0 and no bytes.
    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] std::int64_t number(int column) const;
    [[nodiscard]] std::vector<unsigned char> bytes(int column) const;
    [[nodiscard]] bool isNull(int column) const;

private:
    void check(int result) const;

    sqlite3_stmt* statement;
    int bound = 0;
};

/// One connection to a database file in write-ahead mode, for one thread at a time. A commit is on
/// the disk when it returns. Foreign keys are enforced. Waits up to 10 s for other writers.
class Database {
public:
    /// Opens the file, which must exist.
    explicit Database(const std::filesystem::path& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// The statement for `sql`, which must be a literal: prepared once, kept by its address.
    [[nodiscard]] Statement statement(const char* sql);

    /// Runs statements that have no parameters and whose rows nobody reads.
    void execute(const char* sql);

    /// The row number of the last insertion.
    [[nodiscard]] std::int64_t lastRow() const;

private:
    struct Close {
        void operator()(sqlite3* connection) const noexcept;
    };
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };
    std::unique_ptr<sqlite3, Close> connection;
    std::unordered_map<const char*, std::unique_ptr<sqlite3_stmt, Finalize>> prepared;
};

/// What happens between its begin and commit() happens wholly or not at all; without commit() it
/// does not.
class Transaction {
public:
    enum class Kind {
        Read,  ///< one state of the database, whatever others write meanwhile
        Write, ///< alone among all writers of all processes
    };

    Transaction(Database& target, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& database;
    bool isOpen = true;
};

} // namespace mos::server
