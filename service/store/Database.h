#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace vpnd
{

// What SQLite could not do.
class DatabaseError : public std::runtime_error
{
public:
    enum class Kind {
        kDamaged,     // the file is none of SQLite's, or its content cannot be right
        kDisk,        // full, read-only, failing, or kept by somebody: may be otherwise soon
        kUnreadable,  // the disk does not give back what it has
        kOther,       // of this one request
    };

    DatabaseError(Kind kind, const std::string& what) : std::runtime_error(what), m_kind(kind) {}

    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// A file beyond this is not ours, and ours does not grow beyond it.
constexpr std::uint64_t kMostDatabaseBytes = 256 * 1024 * 1024;

// One connection to a file of SQLite, for one thread at a time. Everything raises DatabaseError,
// or std::bad_alloc.
class Database
{
public:
    enum class Access {
        kWrite,
        kRead,       // beside a service that writes, or after one that was killed
        kReadAlone,  // of a file with a log whose index is missing
        kReadStill,  // of a file that nobody writes; touches no other file
        kMemory,     // an empty one, with no file at all
    };

    // The file must exist. vfs: SQLite's name of the file layer; empty: the system's.
    Database(const std::string& path, Access access, const std::string& vfs = {});

    // Statements without results.
    void run(const char* sql);
    // The first column of the first row; 0 or an empty text when there is none.
    std::int64_t number(const char* sql);
    std::string text(const char* sql);

    // Whether the system opened the file for reading only, or the file's head forbids writing.
    [[nodiscard]] bool isReadOnly() const;

    // Whether the file has another name now, or none.
    [[nodiscard]] bool hasMoved() const;

    // Gives back the memory of pages, so that the next access sees what the disk has.
    void forgetPages();

    // Takes over all that the other one holds.
    void copyFrom(Database& other);

    // Pages given to the system to be written since the last call; not those of a checkpoint.
    std::uint64_t takePagesWritten();
    // Pages in the write-ahead log after the last commit.
    std::uint64_t pagesInLog() const { return *m_pagesInLog; }
    // Copies what it can from the log to the file, without waiting for readers. Returns how
    // many pages that were at most.
    std::uint64_t checkpoint();
    // At its end this connection leaves the log alone, until it is told otherwise.
    void keepLogAtEnd(bool keep);

private:
    friend class Statement;

    struct Close {
        void operator()(sqlite3* database) const;
    };
    [[noreturn]] void raise(int code) const;
    void check(int code) const;

    std::unique_ptr<sqlite3, Close> m_database;
    // SQLite is told its address.
    std::unique_ptr<std::uint64_t> m_pagesInLog = std::make_unique<std::uint64_t>(0);
    std::uint64_t m_pagesCopied = 0;
};

// Parameters count from 1, columns from 0. Borrows the database.
class Statement
{
public:
    Statement(Database& database, const char* sql);

    Statement& bind(int parameter, std::int64_t value);
    // Borrows the text until the next reset().
    Statement& bind(int parameter, std::string_view text);
    Statement& bindNothing(int parameter);

    // Whether there is a row.
    bool step();
    // Without results; for the next parameters afterwards.
    void run();

    bool isNothing(int column) const;
    std::int64_t number(int column) const;
    // Raises kDamaged when it is longer.
    std::string text(int column, std::size_t mostBytes) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    void check(int code) const;

    Database& m_database;
    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
};

// Undone at its end, unless it was committed.
class Transaction
{
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& m_database;
    bool m_isOpen = true;
};

}  // namespace vpnd
