#include "service/store/Database.h"

#include <sqlite3.h>

namespace vpnd
{

void Statement::Finalize::operator()(sqlite3_stmt* statement) const
{
    ::sqlite3_finalize(statement);
}

Statement::Statement(Database& database, const char* sql) : m_database(database)
{
    sqlite3_stmt* statement = nullptr;
    const int code = ::sqlite3_prepare_v2(database.m_database.get(), sql, -1, &statement, nullptr);
    m_statement.reset(statement);
    database.check(code);
}

void Statement::check(int code) const { m_database.check(code); }

Statement& Statement::bind(int parameter, std::int64_t value)
{
    check(::sqlite3_bind_int64(m_statement.get(), parameter, value));
    return *this;
}

Statement& Statement::bind(int parameter, std::string_view text)
{
    check(::sqlite3_bind_text64(m_statement.get(), parameter, text.data(), text.size(),
                                SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

Statement& Statement::bindNothing(int parameter)
{
    check(::sqlite3_bind_null(m_statement.get(), parameter));
    return *this;
}

bool Statement::step()
{
    const int code = ::sqlite3_step(m_statement.get());
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) m_database.raise(code);
    return false;
}

void Statement::run()
{
    step();
    check(::sqlite3_reset(m_statement.get()));
}

bool Statement::isNothing(int column) const
{
    return ::sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

std::int64_t Statement::number(int column) const
{
    return ::sqlite3_column_int64(m_statement.get(), column);
}

std::string Statement::text(int column, std::size_t mostBytes) const
{
    const unsigned char* bytes = ::sqlite3_column_text(m_statement.get(), column);
    const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(m_statement.get(), column));
    if (size > mostBytes) {
        throw DatabaseError(DatabaseError::Kind::kDamaged,
                            "a text of " + std::to_string(size) + " bytes where " +
                                std::to_string(mostBytes) + " are the most");
    }
    return bytes == nullptr ? std::string() : std::string(bytes, bytes + size);
}

Transaction::Transaction(Database& database) : m_database(database)
{
    database.run("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (!m_isOpen) return;
    try {
        m_database.run("ROLLBACK");
    } catch (const DatabaseError&) {
        // SQLite has undone it already.
    }
}

void Transaction::commit()
{
    m_database.run("COMMIT");
    m_isOpen = false;
}

}  // namespace vpnd
