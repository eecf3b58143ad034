// The sums of a property over steps of time. Steps of whole quarters of an hour are put together
// from the rows of quarters, as far as these have been summed up; everything else is summed up from
// the changes. The time for which nobody knows the value counts as unknown: before the first
// change, after a mark that the recording has ended, and after the last sign of life of the
// recorder.

#include "history/history.h"

#include <algorithm>

#include "history/change_row.h"

namespace vantry::history {

client::Result<std::vector<StepSums>> History::Steps(const client::PropertyId& id, Span span,
                                                     Moment step) {
    const auto property = NumberOf(id);
    if (!property) {
        return property.error();
    }
    StepSeries series(BeginOfStep(span.begin, step), std::min(span.end, Now()), step);
    if ((series.End() - series.Begin()) / step >= kMostSteps) {
        return client::Error{client::ErrorCode::Refused,
                             "these are more than " + std::to_string(kMostSteps) +
                                 " steps; a longer step or a shorter time makes fewer"};
    }
    if (series.Begin() >= series.End()) {
        return std::vector<StepSums>{};
    }
    Moment reached = series.Begin();
    if (step % kQuarter == 0) {
        const Moment summed = BeginOfStep(std::min(SummedUntil(), series.End()), kQuarter);
        if (summed > reached) {
            if (auto outcome = AddSums(*property, {reached, summed}, series); !outcome) {
                return outcome.error();
            }
            reached = summed;
        }
    }
    if (auto outcome = AddChanges(*property, {reached, series.End()}, series); !outcome) {
        return outcome.error();
    }
    return series.Take();
}

client::Outcome History::AddSums(std::int64_t property, Span span, StepSeries& series) {
    Statement rows = database.Prepare(
        "SELECT quarter, quarter.changes, minimum, maximum, mean, unknown, value FROM quarter "
        "LEFT JOIN change ON change.time = last "
        "WHERE quarter >= ? AND quarter < ? AND quarter.property = ? ORDER BY quarter");
    rows.Bind(1, span.begin / kQuarter).Bind(2, span.end / kQuarter).Bind(3, property);
    Moment reached = span.begin;
    const auto appendUnknownUntil = [&](Moment moment) {
        for (; reached < moment; reached += kQuarter) {
            series.Append({.begin = reached, .unknown = kQuarter}, reached + kQuarter);
        }
    };
    while (rows.Next()) {
        appendUnknownUntil(rows.Number(0) * kQuarter);
        StepSums sums{.begin = reached,
                      .minimum = rows.Real(2),
                      .maximum = rows.Real(3),
                      .mean = rows.Real(4),
                      .changes = rows.Number(1),
                      .unknown = rows.Number(5)};
        if (sums.changes == 0 && !sums.mean && !rows.IsNothing(6)) {
            sums.mean = history::NumberOf(rows.Text(6));
            sums.minimum = sums.mean;
            sums.maximum = sums.mean;
        }
        reached += kQuarter;
        series.Append(sums, reached);
    }
    appendUnknownUntil(span.end);
    return rows.Failure();
}

client::Outcome History::AddChanges(std::int64_t property, Span span, StepSeries& series) {
    const Moment from = std::min(BeginOfStep(span.begin, kQuarter), SummedUntil());
    const auto held = HeldAt(property, from);
    if (!held) {
        return held.error();
    }
    StepSummer summer(from);
    if (*held && (*held)->value) {
        summer.Begin(*(*held)->value);
    }
    // What lies before the span only says which value holds at its begin.
    Moment boundary = span.begin;
    const auto closeUntil = [&](Moment moment) {
        while (boundary <= moment) {
            const StepSums sums = summer.Finish(boundary);
            if (boundary > span.begin) {
                series.Append(sums, boundary);
            }
            if (boundary == span.end) {
                boundary = span.end + 1;
                return;
            }
            boundary = series.EndOfStep(boundary);
        }
    };
    const auto outcome = Scan(property, {from, span.end}, [&](const Statement& row) {
        const Moment time = row.Number(kTime);
        closeUntil(time);
        if (row.Number(kProperty) != kMarks) {
            summer.Set(time,
                       row.IsNothing(kValue) ? std::nullopt : std::optional(row.Text(kValue)));
        } else if (EndsRecording(row)) {
            summer.Lose(time);
        }
        return true;
    });
    if (const Moment known = KnownUntil(); known < span.end) {
        const Moment lost = std::max(known, summer.Reached());
        closeUntil(lost);
        summer.Lose(lost);
    }
    closeUntil(span.end);
    return outcome;
}

}  // namespace vantry::history
