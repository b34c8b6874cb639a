#include "feed/Sqlite.h"

#include "foundation/support/Utf.h"

#include <sqlite3.h>

namespace halvane {
namespace {

constexpr int kBusyMs = 2000; // another program may write for a moment

SqliteError ErrorOf(sqlite3* database) {
    const int code = sqlite3_errcode(database) & 0xFF;
    const bool passes = code == SQLITE_FULL || code == SQLITE_IOERR || code == SQLITE_BUSY ||
                        code == SQLITE_LOCKED || code == SQLITE_NOMEM;
    return SqliteError(sqlite3_errmsg(database), passes);
}

void Check(sqlite3* database, int result) {
    if (result != SQLITE_OK) throw ErrorOf(database);
}

} // namespace

void SqliteStatement::End::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

SqliteStatement& SqliteStatement::Bind(int at, std::int64_t value) {
    Check(database_, sqlite3_bind_int64(statement_.get(), at, value));
    return *this;
}

SqliteStatement& SqliteStatement::Bind(int at, std::string_view text) {
    Check(database_, sqlite3_bind_text64(statement_.get(), at, text.data() ? text.data() : "",
                                         text.size(), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

bool SqliteStatement::Step() {
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        const SqliteError error = ErrorOf(database_);
        Reset();
        throw error;
    }
    return result == SQLITE_ROW;
}

void SqliteStatement::Reset() { sqlite3_reset(statement_.get()); }

std::int64_t SqliteStatement::Number(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::string_view SqliteStatement::Bytes(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    const int size = sqlite3_column_bytes(statement_.get(), column);
    return text == nullptr ? std::string_view()
                           : std::string_view(text, static_cast<std::size_t>(size));
}

void SqliteDatabase::End::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

SqliteDatabase::SqliteDatabase(const Text& path, Access access) {
    int flags = SQLITE_OPEN_NOMUTEX;
    flags |= access == Access::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    flags |= access == Access::Create ? SQLITE_OPEN_CREATE : 0;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(ToUtf8(path).c_str(), &opened, flags, nullptr);
    database_.reset(opened);
    if (opened == nullptr) throw std::bad_alloc();
    Check(opened, result);
    sqlite3_busy_timeout(opened, kBusyMs);
}

SqliteStatement SqliteDatabase::Prepare(std::string_view sql) {
    sqlite3_stmt* statement = nullptr;
    Check(database_.get(), sqlite3_prepare_v2(database_.get(), sql.data(),
                                              static_cast<int>(sql.size()), &statement, nullptr));
    return {database_.get(), statement};
}

std::int64_t SqliteDatabase::Ask(std::string_view sql) {
    SqliteStatement statement = Prepare(sql);
    return statement.Step() ? statement.Number(0) : 0;
}

std::string SqliteDatabase::AskText(std::string_view sql) {
    SqliteStatement statement = Prepare(sql);
    return statement.Step() ? std::string(statement.Bytes(0)) : std::string();
}

} // namespace halvane
