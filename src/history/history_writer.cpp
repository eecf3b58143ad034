// The writing side of a history.
//
// Flash memory wears by pages, so the tables only grow at their ends: a batch of changes is one
// transaction that touches the last page of the changes and one page of SQLite's own. The journal
// is SQLite's write-ahead log without a flush for each transaction: a killed process loses nothing
// that Write has returned from, a power cut may lose the last transactions and leaves the rest in
// order.
//
// What is beyond the bounds is deleted from the start, quarter of an hour by quarter of an hour,
// and its pages are used again. A change that still holds is kept however old it is. The size is
// also a hard bound of SQLite (max_page_count), so that a burst ends as a full disk does: Write
// fails and succeeds again when there is room.

#include "history/history_writer.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace vantry::history {
namespace {

constexpr std::uint64_t kPageBytes = 4096;
constexpr std::uint64_t kLeastPages = 256;

bool SameNames(const client::Property& left, const client::Property& right) {
    return left.componentName == right.componentName && left.groupName == right.groupName &&
           left.name == right.name;
}

/// Whole numbers are stored as such, which takes the fewest bytes and gives the same text again.
void BindValue(Statement& statement, int place, const std::optional<std::string>& value) {
    if (!value) {
        statement.BindNothing(place);
        return;
    }
    std::int64_t number = 0;
    const char* const end = value->data() + value->size();
    const auto [rest, problem] = std::from_chars(value->data(), end, number);
    if (problem == std::errc() && rest == end && std::to_string(number) == *value) {
        statement.Bind(place, number);
    } else {
        statement.Bind(place, std::string_view(*value));
    }
}

/// Runs `work` as a transaction, which is undone if it fails.
template <typename Work>
client::Outcome AsTransaction(Database& database, const Work& work) {
    if (auto begun = database.Run("BEGIN IMMEDIATE"); !begun) {
        return begun;
    }
    client::Outcome outcome = work();
    if (outcome) {
        outcome = database.Run("COMMIT");
    }
    if (!outcome) {
        // SQLite may have undone it already, so a failure means nothing here.
        static_cast<void>(database.Run("ROLLBACK"));
    }
    return outcome;
}

}  // namespace

client::Result<HistoryWriter> HistoryWriter::Open(const std::filesystem::path& file,
                                                  HistoryBounds bounds) {
    std::error_code problem;
    std::filesystem::create_directories(file.parent_path(), problem);
    auto claim = RecordingClaim::Take(file);
    if (!claim) {
        return claim.error();
    }
    auto database = Database::Open(file, Database::Access::kWrite);
    if (!database) {
        return database.error();
    }
    HistoryWriter writer(std::move(*claim), std::move(*database), bounds);
    if (auto prepared = writer.Prepare(); !prepared) {
        return client::Error{prepared.error().code, file.string() + ": " + prepared.error().text};
    }
    return writer;
}

client::Outcome HistoryWriter::Prepare() {
    const std::uint64_t pages = std::max(bounds.bytes / kPageBytes, kLeastPages);
    for (const std::string& setting :
         {std::string("locking_mode=NORMAL"), std::string("journal_mode=WAL"),
          std::string("synchronous=NORMAL"), std::string("secure_delete=OFF"),
          std::string("journal_size_limit=4194304"), "max_page_count=" + std::to_string(pages)}) {
        if (auto outcome = database.Run("PRAGMA " + setting); !outcome) {
            return outcome;
        }
    }
    if (auto outcome = PrepareSchema(database); !outcome) {
        return outcome;
    }
    lastMoment = database.NumberOf("SELECT max(time) FROM change").value_or(0);
    Statement rows = database.Prepare(
        "SELECT id, component, group_guid, guid, component_name, group_name, name FROM property");
    while (rows.Next()) {
        client::Property names;
        names.id = {rows.Text(1), rows.Text(2), rows.Text(3)};
        names.componentName = rows.Text(4);
        names.groupName = rows.Text(5);
        names.name = rows.Text(6);
        entries.emplace(names.id, Entry{rows.Number(0), names});
    }
    if (auto outcome = rows.Failure(); !outcome) {
        return outcome;
    }
    if (auto outcome = EndLastRecording(); !outcome) {
        return outcome;
    }
    return sums.Load(database);
}

client::Outcome HistoryWriter::EndLastRecording() {
    if (database.NumberOf("SELECT running FROM recorder") != 1) {
        return client::Done{};
    }
    const Moment alive = database.NumberOf("SELECT alive FROM recorder").value_or(0);
    const Moment end = std::max(alive, lastMoment + 1);
    if (auto outcome = Insert({{end, kMarks, Kind::Change, Mark::kEnded}}, end); !outcome) {
        return outcome;
    }
    lastMoment = end;
    return client::Done{};
}

std::int64_t HistoryWriter::IdOf(const client::Property& property) {
    const auto [place, isNew] =
        entries.try_emplace(property.id, Entry{static_cast<std::int64_t>(entries.size()) + 1, {}});
    Entry& entry = place->second;
    if (isNew || !SameNames(entry.names, property)) {
        entry.names = property;
        unwritten[entry.id] = property;
    }
    return entry.id;
}

client::Outcome HistoryWriter::Write(const std::vector<ChangeRow>& rows, Moment now) {
    if (IsNearlyFull()) {
        if (auto outcome = KeepBounds(now); !outcome) {
            return outcome;
        }
    }
    if (auto outcome = Insert(rows, now); !outcome) {
        return outcome;
    }
    unwritten.clear();
    return sums.IsDue(now) ? SumUp(now) : client::Done{};
}

client::Outcome HistoryWriter::Insert(const std::vector<ChangeRow>& rows, Moment now) {
    return AsTransaction(database, [&]() -> client::Outcome {
        if (auto outcome = InsertProperties(); !outcome) {
            return outcome;
        }
        // A commit whose result was lost is repeated, so a row may be there already.
        Statement insert = database.Prepare("INSERT OR REPLACE INTO change VALUES (?, ?, ?, ?)");
        for (const ChangeRow& row : rows) {
            insert.Bind(1, row.time).Bind(2, row.property);
            insert.Bind(3, static_cast<std::int64_t>(row.kind));
            BindValue(insert, 4, row.value);
            if (auto outcome = insert.Run(); !outcome) {
                return outcome;
            }
        }
        const bool ends =
            !rows.empty() && rows.back().property == kMarks && rows.back().value == Mark::kEnded;
        return database.Run("UPDATE recorder SET alive = " + std::to_string(now) +
                            ", running = " + (ends ? "0" : "1"));
    });
}

client::Outcome HistoryWriter::InsertProperties() {
    Statement insert =
        database.Prepare("INSERT OR REPLACE INTO property VALUES (?, ?, ?, ?, ?, ?, ?)");
    for (const auto& [id, property] : unwritten) {
        insert.Bind(1, id).Bind(2, property.id.component).Bind(3, property.id.group);
        insert.Bind(4, property.id.property).Bind(5, property.componentName);
        insert.Bind(6, property.groupName).Bind(7, property.name);
        if (auto outcome = insert.Run(); !outcome) {
            return outcome;
        }
    }
    return client::Done{};
}

client::Outcome HistoryWriter::SumUp(Moment now) {
    const client::Outcome outcome =
        AsTransaction(database, [&] { return sums.AddUntil(database, now); });
    if (!outcome) {
        static_cast<void>(sums.Load(database));
        return outcome;
    }
    return KeepBounds(now);
}

bool HistoryWriter::IsNearlyFull() {
    const auto pages =
        static_cast<std::uint64_t>(database.NumberOf("PRAGMA page_count").value_or(0) -
                                   database.NumberOf("PRAGMA freelist_count").value_or(0));
    return pages * kPageBytes * 10 > std::max(bounds.bytes, kLeastPages * kPageBytes) * 9;
}

client::Outcome HistoryWriter::KeepBounds(Moment now) {
    const std::int64_t summed = database.NumberOf("SELECT max(quarter) FROM quarter").value_or(0);
    const std::int64_t tooOld = std::min((now - bounds.age) / kQuarter, summed);
    if (auto outcome = DeleteBefore(tooOld); !outcome) {
        return outcome;
    }
    while (IsNearlyFull()) {
        const auto oldest = database.NumberOf("SELECT min(quarter) FROM quarter");
        const auto newest = database.NumberOf("SELECT max(quarter) FROM quarter");
        if (!oldest || *oldest == *newest) {
            break;
        }
        const std::int64_t tenth = (*newest - *oldest) / 10;
        if (auto outcome = DeleteBefore(*oldest + 1 + tenth); !outcome) {
            return outcome;
        }
    }
    return client::Done{};
}

client::Outcome HistoryWriter::DeleteBefore(std::int64_t quarter) {
    const std::string before = std::to_string(quarter - 1);
    return AsTransaction(database, [&]() -> client::Outcome {
        return database.Run("DELETE FROM change WHERE time < " +
                            std::to_string(quarter * kQuarter) +
                            " AND time NOT IN (SELECT last FROM quarter WHERE quarter = " + before +
                            " AND last IS NOT NULL);"
                            "DELETE FROM quarter WHERE quarter < " +
                            before);
    });
}

}  // namespace vantry::history
