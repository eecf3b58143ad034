// The reading side of a history.
//
// The changes stand in the order of time, all properties together, so what is read grows with the
// length of the span. Two things keep it short. Each quarter of an hour has a row for each property
// that was known in it, with the change that holds at its end and with its sums: steps of whole
// quarters are put together from these rows, and the quarters in which a property didn't change are
// never read. Only the last quarter, which isn't summed up yet, is always read.

#include "history/history.h"

#include <algorithm>
#include <map>

#include "history/change_row.h"

namespace vantry::history {
namespace {

client::Property PropertyIn(const Statement& row) {
    client::Property property;
    property.id = {row.Text(1), row.Text(2), row.Text(3)};
    property.componentName = row.Text(4);
    property.groupName = row.Text(5);
    property.name = row.Text(6);
    return property;
}

constexpr const char* kProperties =
    "SELECT id, component, group_guid, guid, component_name, group_name, name FROM property "
    "ORDER BY component_name, group_name, name, id";

}  // namespace

client::Result<History> History::Open(const std::filesystem::path& file) {
    auto database = Database::Open(file, Database::Access::kRead);
    if (!database) {
        return database.error();
    }
    if (auto outcome = CheckSchema(*database); !outcome) {
        return client::Error{outcome.error().code, file.string() + ": " + outcome.error().text};
    }
    return History(std::move(*database));
}

client::Result<std::vector<client::Property>> History::Properties() {
    std::vector<client::Property> properties;
    Statement rows = database.Prepare(kProperties);
    while (rows.Next()) {
        properties.push_back(PropertyIn(rows));
    }
    if (auto outcome = rows.Failure(); !outcome) {
        return outcome.error();
    }
    return properties;
}

client::Result<Span> History::Recorded() {
    const auto first = database.NumberOf("SELECT min(time) FROM change");
    const auto last = database.NumberOf("SELECT max(time) FROM change");
    return Span{first.value_or(0), last.value_or(-1) + 1};
}

client::Result<std::int64_t> History::NumberOf(const client::PropertyId& id) {
    Statement row = database.Prepare(
        "SELECT id FROM property WHERE component = ? AND group_guid = ? AND guid = ?");
    row.Bind(1, id.component).Bind(2, id.group).Bind(3, id.property);
    if (row.Next()) {
        return row.Number(0);
    }
    if (auto outcome = row.Failure(); !outcome) {
        return outcome.error();
    }
    return client::Error{client::ErrorCode::NotFound,
                         "the history has no property " + id.group + ":" + id.property};
}

Moment History::SummedUntil() {
    const auto newest = database.NumberOf("SELECT max(quarter) FROM quarter");
    return newest ? (*newest + 1) * kQuarter : 0;
}

Moment History::KnownUntil() {
    const Moment alive = database.NumberOf("SELECT alive FROM recorder").value_or(0);
    const bool isRunning = database.NumberOf("SELECT running FROM recorder") == 1;
    if (isRunning && Now() - alive < kQuarter + kMinute) {
        return Now();
    }
    return std::max(alive, database.NumberOf("SELECT max(time) FROM change").value_or(0));
}

client::Outcome History::Scan(std::int64_t property, Span span,
                              const std::function<bool(const Statement&)>& visit) {
    const Moment summed = std::clamp(SummedUntil(), span.begin, span.end);
    Statement changes = database.Prepare(
        "SELECT time, property, kind, value FROM change "
        "WHERE time >= ? AND time < ? AND property IN (0, ?) ORDER BY time");
    bool goesOn = true;
    const auto scanPart = [&](Span part) {
        changes.Reset();
        changes.Bind(1, part.begin).Bind(2, part.end).Bind(3, property);
        while (goesOn && changes.Next()) {
            goesOn = visit(changes);
        }
        return changes.Failure();
    };
    // Before the first quarter there are only changes that held when the others were deleted.
    const Moment first =
        database.NumberOf("SELECT min(quarter) FROM quarter").value_or(0) * kQuarter;
    if (auto outcome = scanPart({span.begin, std::min(first, summed)}); !outcome) {
        return outcome;
    }
    Statement quarters = database.Prepare(
        "SELECT DISTINCT quarter FROM quarter WHERE quarter >= ? AND quarter < ? "
        "AND property IN (0, ?) AND changes > 0 ORDER BY quarter");
    quarters.Bind(1, BeginOfStep(span.begin, kQuarter) / kQuarter);
    quarters.Bind(2, (summed + kQuarter - 1) / kQuarter).Bind(3, property);
    while (goesOn && quarters.Next()) {
        const Moment begin = quarters.Number(0) * kQuarter;
        const Span part{std::max(span.begin, begin), std::min(summed, begin + kQuarter)};
        if (auto outcome = scanPart(part); !outcome) {
            return outcome;
        }
    }
    if (auto outcome = quarters.Failure(); !outcome) {
        return outcome;
    }
    return scanPart({summed, span.end});
}

client::Result<std::optional<Sample>> History::HeldAt(std::int64_t property, Moment quarterBegin) {
    Statement row = database.Prepare(
        "SELECT change.time, change.property, kind, value FROM quarter "
        "JOIN change ON change.time = last WHERE quarter = ? AND quarter.property = ?");
    row.Bind(1, quarterBegin / kQuarter - 1).Bind(2, property);
    std::optional<Sample> held;
    if (row.Next()) {
        held = SampleIn(row);
    }
    if (auto outcome = row.Failure(); !outcome) {
        return outcome.error();
    }
    return held;
}

client::Result<std::vector<Sample>> History::Changes(const client::PropertyId& id, Span span,
                                                     std::size_t most) {
    const auto property = NumberOf(id);
    if (!property) {
        return property.error();
    }
    const Moment from = std::min(BeginOfStep(span.begin, kQuarter), SummedUntil());
    auto held = HeldAt(*property, from);
    if (!held) {
        return held.error();
    }
    std::optional<Sample> current = *held;
    std::vector<Sample> samples;
    bool isKnown = current.has_value();
    const auto outcome = Scan(*property, {from, span.end}, [&](const Statement& row) {
        Sample sample = SampleIn(row);
        if (row.Number(kProperty) == kMarks) {
            if (!EndsRecording(row) || !isKnown) {
                return true;
            }
            sample.value.reset();
        }
        isKnown = sample.value.has_value();
        if (sample.time < span.begin) {
            current = std::move(sample);
            return true;
        }
        if (samples.empty() && current) {
            samples.push_back(*current);
        }
        samples.push_back(std::move(sample));
        return samples.size() < most;
    });
    if (!outcome) {
        return outcome.error();
    }
    if (samples.empty() && current) {
        samples.push_back(*current);
    }
    return samples;
}

client::Outcome History::ForEach(
    Span span, const std::function<void(const client::Property&, const Sample&)>& visit) {
    std::map<std::int64_t, client::Property> properties;
    properties[kMarks].name = "recording";
    Statement names = database.Prepare(kProperties);
    while (names.Next()) {
        properties[names.Number(0)] = PropertyIn(names);
    }
    Statement changes = database.Prepare(
        "SELECT time, property, kind, value FROM change WHERE time >= ? AND time < ? "
        "ORDER BY time");
    changes.Bind(1, span.begin).Bind(2, span.end);
    while (changes.Next()) {
        visit(properties[changes.Number(kProperty)], SampleIn(changes));
    }
    return changes.Failure();
}

}  // namespace vantry::history
