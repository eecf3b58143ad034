#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"
#include "history/database.h"
#include "history/moment.h"
#include "history/schema.h"
#include "history/step_series.h"
#include "history/step_sums.h"

namespace vantry::history {

/// One recorded change. No value means that there is none from this moment on: the property was
/// withdrawn, or the recording ended.
struct Sample {
    Moment time;
    Kind kind;
    std::optional<std::string> value;
};

/// A span of time, from its begin up to but not including its end.
struct Span {
    Moment begin;
    Moment end;
};

/// Reads a history, also while a recorder writes to it. It belongs to one thread at a time, and its
/// operations block for the disk.
class History {
public:
    /// The most steps that Steps returns.
    static constexpr std::int64_t kMostSteps = 10'000;

    /// Opens the file. Returns NotFound if it doesn't exist or is still empty, and Refused if it
    /// isn't a history or can't be read now.
    static client::Result<History> Open(const std::filesystem::path& file);

    /// Returns all properties that were ever recorded, sorted by their names. Their values are
    /// empty.
    client::Result<std::vector<client::Property>> Properties();
    /// Returns the span between the first and the last recorded change.
    client::Result<Span> Recorded();

    /// Returns the changes of a property in the span, the oldest first, `most` of them at most, and
    /// before them the change that held at its begin if there is one. Returns NotFound if the
    /// property was never recorded.
    client::Result<std::vector<Sample>> Changes(const client::PropertyId& id, Span span,
                                                std::size_t most);
    /// Returns the sums over steps of this length, without gaps, the first of which holds the start
    /// of the span. Steps that haven't begun yet are left out. Returns Refused for more than
    /// kMostSteps steps, and NotFound if the property was never recorded.
    ///
    /// Steps of whole quarters of an hour are put together from sums. Shorter ones read the changes
    /// of all properties in the span, which takes about a second for five million.
    client::Result<std::vector<StepSums>> Steps(const client::PropertyId& id, Span span,
                                                Moment step);
    /// Calls `visit` with each change of all properties in the span, the oldest first. Marks about
    /// the recording come as changes of a property whose name is "recording" and whose GUIDs are
    /// empty.
    client::Outcome ForEach(
        Span span, const std::function<void(const client::Property&, const Sample&)>& visit);

private:
    explicit History(Database opened) : database(std::move(opened)) {}
    client::Result<std::int64_t> NumberOf(const client::PropertyId& id);
    /// Returns the start of the newest quarter of an hour that isn't summed up, or 0 if none is.
    Moment SummedUntil();
    /// Calls `visit` with each change of one property and each mark in the span, while it returns
    /// true. The quarters of an hour in which there were none are passed over.
    client::Outcome Scan(std::int64_t property, Span span,
                         const std::function<bool(const Statement&)>& visit);
    /// Returns the change that held at the start of a quarter of an hour that is summed up until
    /// there.
    client::Result<std::optional<Sample>> HeldAt(std::int64_t property, Moment quarterBegin);
    client::Outcome AddSums(std::int64_t property, Span span, StepSeries& series);
    client::Outcome AddChanges(std::int64_t property, Span span, StepSeries& series);
    /// Returns until when the values that hold at the end of the file are known to hold.
    Moment KnownUntil();

    Database database;
};

}  // namespace vantry::history
