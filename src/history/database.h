#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "client/result.h"

struct sqlite3;
struct sqlite3_stmt;

namespace vantry::history {

class Statement;

/// One connection to a database file of SQLite. It belongs to one thread at a time. Its operations
/// block for the disk, and up to five seconds for another program that is writing.
class Database {
public:
    enum class Access { kRead, kWrite };

    /// Opens the file. With kWrite it is created if it doesn't exist; with kRead that is NotFound.
    static client::Result<Database> Open(const std::filesystem::path& file, Access access);

    /// Runs statements that return no rows.
    client::Outcome Run(const std::string& sql);
    /// Returns the first number of the first row, or nothing if there is no row, it is NULL, or the
    /// statement fails.
    std::optional<std::int64_t> NumberOf(const std::string& sql);
    /// Compiles one statement. A mistake in it appears as the failure of the statement. The
    /// database must outlive it.
    Statement Prepare(const std::string& sql);

private:
    friend class Statement;
    struct Closing {
        void operator()(sqlite3* database) const;
    };
    explicit Database(sqlite3* opened) : handle(opened) {}
    client::Error LastError() const;

    std::unique_ptr<sqlite3, Closing> handle;
};

/// A compiled statement of a Database, whose parameters are numbered from 1 and whose columns are
/// numbered from 0. It belongs to the thread of its database.
class Statement {
public:
    // These set the parameter at a place, which stays set until it is set again. An error of one of
    // them is that of the next run.

    Statement& Bind(int place, std::int64_t number);
    Statement& Bind(int place, double number);
    /// The text must live until the next Reset.
    Statement& Bind(int place, std::string_view text);
    Statement& BindNothing(int place);
    Statement& Bind(int place, const std::optional<double>& number) {
        return number ? Bind(place, *number) : BindNothing(place);
    }

    /// Runs the statement up to its next row. Returns false at the end of the rows, and when it
    /// fails; Failure distinguishes the two.
    [[nodiscard]] bool Next();
    /// Runs a statement that returns no rows, and makes it ready to run again.
    client::Outcome Run();
    /// Makes the statement ready to run again, with the same parameters.
    void Reset();
    /// Returns whether a run has failed since the last Reset, and why.
    client::Outcome Failure() const;

    // These return a column of the row at which Next stopped.

    bool IsNothing(int column) const;
    std::int64_t Number(int column) const;
    std::optional<double> Real(int column) const;
    /// Numbers become texts.
    std::string Text(int column) const;

private:
    friend class Database;
    struct Finishing {
        void operator()(sqlite3_stmt* statement) const;
    };
    Statement(const Database& itsDatabase, sqlite3_stmt* compiled)
        : database(&itsDatabase), handle(compiled), failed(compiled == nullptr) {}

    const Database* database;
    std::unique_ptr<sqlite3_stmt, Finishing> handle;
    bool failed;
};

}  // namespace vantry::history
