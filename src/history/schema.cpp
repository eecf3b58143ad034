// The tables of a history. The file is marked with a number of its own and a version, and nothing
// is written to a database that has other marks, so that a wrong path can't damage the file of
// another program.

#include "history/schema.h"

namespace vantry::history {
namespace {

/// "vanh" as a number; it marks the file as a history.
constexpr std::int64_t kApplication = 0x76616e68;
constexpr std::int64_t kVersion = 1;

// A row of `change` needs about 20 bytes: the moment is the key of the table itself, so there is no
// index, and rows are only ever added at the end. Sums of all properties for each quarter of an
// hour stand in `quarter` and make long queries fast.
constexpr const char* kTables = R"(
    CREATE TABLE property (
        id INTEGER PRIMARY KEY,
        component TEXT NOT NULL,
        group_guid TEXT NOT NULL,
        guid TEXT NOT NULL,
        component_name TEXT NOT NULL,
        group_name TEXT NOT NULL,
        name TEXT NOT NULL,
        UNIQUE (component, group_guid, guid));
    CREATE TABLE change (
        time INTEGER PRIMARY KEY,
        property INTEGER NOT NULL,
        kind INTEGER NOT NULL,
        value);
    CREATE TABLE quarter (
        quarter INTEGER NOT NULL,
        property INTEGER NOT NULL,
        last INTEGER,
        changes INTEGER NOT NULL,
        minimum REAL,
        maximum REAL,
        mean REAL,
        unknown INTEGER NOT NULL,
        PRIMARY KEY (quarter, property)) WITHOUT ROWID;
    CREATE TABLE recorder (alive INTEGER NOT NULL, running INTEGER NOT NULL);
    INSERT INTO recorder VALUES (0, 0);
)";

}  // namespace

const char* NameOf(Kind kind) {
    switch (kind) {
        case Kind::Reconciled:
            return "reconciled";
        case Kind::Start:
            return "start";
        default:
            return "change";
    }
}

client::Outcome CheckSchema(Database& database) {
    Statement tables = database.Prepare("SELECT count(*) FROM sqlite_schema");
    if (!tables.Next()) {
        return tables.Failure();
    }
    if (tables.Number(0) == 0) {
        return client::Error{client::ErrorCode::NotFound, "nothing is recorded yet"};
    }
    if (database.NumberOf("PRAGMA application_id") != kApplication) {
        return client::Error{client::ErrorCode::Refused, "the file isn't a history"};
    }
    if (database.NumberOf("PRAGMA user_version") != kVersion) {
        return client::Error{client::ErrorCode::Refused,
                             "the history was made by another version of this program"};
    }
    return client::Done{};
}

client::Outcome PrepareSchema(Database& database) {
    const auto tables = database.NumberOf("SELECT count(*) FROM sqlite_schema");
    if (tables != 0) {
        return CheckSchema(database);
    }
    return database.Run("BEGIN;" + std::string(kTables) +
                        "PRAGMA application_id=" + std::to_string(kApplication) +
                        ";PRAGMA user_version=" + std::to_string(kVersion) + ";COMMIT");
}

}  // namespace vantry::history
