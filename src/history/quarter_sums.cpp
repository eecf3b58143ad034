// The sums of quarters of an hour.
//
// Each property that is known has a summer, which lives on from quarter to quarter, so the changes
// of a quarter are read once, when it has ended. After a start the summers are made from the rows
// of the last quarter in the table. A recording that has ended leaves no property known; the empty
// quarters after it are passed over in one step.

#include "history/quarter_sums.h"

#include <optional>

#include "history/schema.h"

namespace vantry::history {

client::Outcome QuarterSums::Load(Database& database) {
    followed.clear();
    const auto newest = database.NumberOf("SELECT max(quarter) FROM quarter");
    if (!newest) {
        next = database.NumberOf("SELECT min(time) FROM change").value_or(0) / kQuarter;
        return client::Done{};
    }
    next = *newest + 1;
    Statement rows = database.Prepare(
        "SELECT quarter.property, last, value FROM quarter JOIN change ON change.time = last "
        "WHERE quarter = ?");
    rows.Bind(1, *newest);
    while (rows.Next()) {
        StepSummer summer(next * kQuarter);
        summer.Begin(rows.Text(2));
        followed.emplace(rows.Number(0), Followed{std::move(summer), rows.Number(1)});
    }
    return rows.Failure();
}

client::Outcome QuarterSums::AddUntil(Database& database, Moment now) {
    while (IsDue(now)) {
        if (followed.empty()) {
            const auto time = database.NumberOf("SELECT min(time) FROM change WHERE time >= " +
                                                std::to_string(next * kQuarter));
            next = time.value_or(now) / kQuarter;
            if (!IsDue(now)) {
                break;
            }
        }
        if (auto outcome = ReadChanges(database, next); !outcome) {
            return outcome;
        }
        if (auto outcome = WriteRows(database, next); !outcome) {
            return outcome;
        }
        ++next;
    }
    return client::Done{};
}

client::Outcome QuarterSums::ReadChanges(Database& database, std::int64_t quarter) {
    const Moment begin = quarter * kQuarter;
    Statement changes = database.Prepare(
        "SELECT time, property, value FROM change WHERE time >= ? AND time < ? ORDER BY time");
    changes.Bind(1, begin).Bind(2, begin + kQuarter);
    while (changes.Next()) {
        const Moment time = changes.Number(0);
        const std::int64_t property = changes.Number(1);
        Followed& row =
            followed.try_emplace(property, Followed{StepSummer(begin), 0}).first->second;
        const bool isGone = changes.IsNothing(2);
        row.last = isGone ? 0 : time;
        row.summer.Set(time, isGone ? std::nullopt : std::optional(changes.Text(2)));
        if (property == kMarks && changes.Text(2) == Mark::kEnded) {
            for (auto& [id, other] : followed) {
                other.summer.Lose(time);
                other.last = 0;
            }
        }
    }
    return changes.Failure();
}

client::Outcome QuarterSums::WriteRows(Database& database, std::int64_t quarter) {
    Statement insert = database.Prepare("INSERT INTO quarter VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    for (auto place = followed.begin(); place != followed.end();) {
        Followed& row = place->second;
        StepSums sums = row.summer.Finish((quarter + 1) * kQuarter);
        if (sums.changes == 0 && sums.unknown == 0) {
            // The value of `last` says all.
            sums = {};
        }
        insert.Bind(1, quarter).Bind(2, place->first);
        static_cast<void>(row.last == 0 ? insert.BindNothing(3) : insert.Bind(3, row.last));
        insert.Bind(4, sums.changes).Bind(5, sums.minimum).Bind(6, sums.maximum);
        insert.Bind(7, sums.mean).Bind(8, sums.unknown);
        if (auto outcome = insert.Run(); !outcome) {
            return outcome;
        }
        place = row.summer.IsKnown() ? std::next(place) : followed.erase(place);
    }
    return client::Done{};
}

}  // namespace vantry::history
