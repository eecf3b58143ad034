// The calls of SQLite that the history needs, with ownership in types and errors as results.
//
// A statement that SQLite can't compile is an object without a handle: each run of it fails, so a
// caller has one place at which it looks for errors. Errors carry SQLite's own text, such as
// "database or disk is full".

#include "history/database.h"

#include <sqlite3.h>

namespace vantry::history {
namespace {

constexpr int kPatienceMilliseconds = 5000;

}  // namespace

void Database::Closing::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

client::Result<Database> Database::Open(const std::filesystem::path& file, Access access) {
    std::error_code ignored;
    if (access == Access::kRead && !std::filesystem::exists(file, ignored)) {
        return client::Error{client::ErrorCode::NotFound,
                             "there is no history in " + file.string()};
    }
    const int flags =
        access == Access::kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    Database database(opened);
    if (code != SQLITE_OK) {
        return client::Error{client::ErrorCode::Refused,
                             "can't open " + file.string() + ": " + sqlite3_errstr(code)};
    }
    sqlite3_busy_timeout(opened, kPatienceMilliseconds);
    if (access == Access::kWrite) {
        // The journal stays when the file is closed, but empty: a reader who may not write into the
        // directory couldn't create it, and SQLite reads the file with its journal alone.
        int keep = 1;
        sqlite3_file_control(opened, "main", SQLITE_FCNTL_PERSIST_WAL, &keep);
    }
    return database;
}

client::Error Database::LastError() const {
    const char* const name = sqlite3_db_filename(handle.get(), "main");
    return {client::ErrorCode::Refused,
            std::string(name == nullptr ? "" : name) + ": " + sqlite3_errmsg(handle.get())};
}

client::Outcome Database::Run(const std::string& sql) {
    if (sqlite3_exec(handle.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        return LastError();
    }
    return client::Done{};
}

std::optional<std::int64_t> Database::NumberOf(const std::string& sql) {
    Statement statement = Prepare(sql);
    if (!statement.Next() || statement.IsNothing(0)) {
        return std::nullopt;
    }
    return statement.Number(0);
}

Statement Database::Prepare(const std::string& sql) {
    sqlite3_stmt* compiled = nullptr;
    sqlite3_prepare_v2(handle.get(), sql.c_str(), static_cast<int>(sql.size()), &compiled, nullptr);
    return Statement(*this, compiled);
}

void Statement::Finishing::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

Statement& Statement::Bind(int place, std::int64_t number) {
    sqlite3_bind_int64(handle.get(), place, number);
    return *this;
}

Statement& Statement::Bind(int place, double number) {
    sqlite3_bind_double(handle.get(), place, number);
    return *this;
}

Statement& Statement::Bind(int place, std::string_view text) {
    // SQLite takes a null pointer for NULL, and an empty view may have one.
    const char* const data = text.data() == nullptr ? "" : text.data();
    sqlite3_bind_text(handle.get(), place, data, static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
}

Statement& Statement::BindNothing(int place) {
    sqlite3_bind_null(handle.get(), place);
    return *this;
}

bool Statement::Next() {
    if (failed) {
        return false;
    }
    const int code = sqlite3_step(handle.get());
    failed = code != SQLITE_ROW && code != SQLITE_DONE;
    return code == SQLITE_ROW;
}

client::Outcome Statement::Run() {
    static_cast<void>(Next());
    client::Outcome outcome = Failure();
    Reset();
    return outcome;
}

void Statement::Reset() {
    sqlite3_reset(handle.get());
    failed = handle == nullptr;
}

client::Outcome Statement::Failure() const {
    if (failed) {
        return database->LastError();
    }
    return client::Done{};
}

bool Statement::IsNothing(int column) const {
    return sqlite3_column_type(handle.get(), column) == SQLITE_NULL;
}

std::int64_t Statement::Number(int column) const {
    return sqlite3_column_int64(handle.get(), column);
}

std::optional<double> Statement::Real(int column) const {
    if (IsNothing(column)) {
        return std::nullopt;
    }
    return sqlite3_column_double(handle.get(), column);
}

std::string Statement::Text(int column) const {
    const unsigned char* const text = sqlite3_column_text(handle.get(), column);
    const int size = sqlite3_column_bytes(handle.get(), column);
    return text == nullptr
               ? std::string()
               : std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
}

}  // namespace vantry::history
