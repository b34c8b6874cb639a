#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace halvane {

// The little of SQLite that the journal needs. A database and its statements belong to one thread.

// What SQLite refused, in its words.
struct SqliteError : std::runtime_error {
    explicit SqliteError(const std::string& what, bool passes = false)
        : std::runtime_error(what), mayPass(passes) {}

    bool mayPass; // the disk is full or somebody else writes: the database itself is well
};

class SqliteStatement {
  public:
    SqliteStatement& Bind(int at, std::int64_t value);    // places count from 1
    SqliteStatement& Bind(int at, std::string_view text); // which lives until Reset

    bool Step(); // true: there is a row
    void Run() { // all of it, to be used again
        while (Step()) {
        }
        Reset();
    }
    void Reset();

    // Of the row; texts live until the next step. Columns count from 0.
    std::int64_t Number(int column) const;
    std::string_view Bytes(int column) const;

  private:
    friend class SqliteDatabase;
    struct End {
        void operator()(sqlite3_stmt* statement) const;
    };
    SqliteStatement(sqlite3* database, sqlite3_stmt* statement)
        : database_(database), statement_(statement) {}

    sqlite3* database_;
    std::unique_ptr<sqlite3_stmt, End> statement_;
};

class SqliteDatabase {
  public:
    enum class Access { Read, Write, Create };
    SqliteDatabase(const Text& path, Access access);

    SqliteStatement Prepare(std::string_view sql);
    void Execute(std::string_view sql) { Prepare(sql).Run(); }
    // The number in the first column of the first row; 0 when there is none.
    std::int64_t Ask(std::string_view sql);
    std::string AskText(std::string_view sql);

  private:
    struct End {
        void operator()(sqlite3* database) const;
    };
    std::unique_ptr<sqlite3, End> database_;
};

} // namespace halvane
