#pragma once

#include "history/database.h"
#include "history/history.h"

namespace vantry::history {

// The columns of a row of changes, in the statements that read a history.
inline constexpr int kTime = 0;
inline constexpr int kProperty = 1;
inline constexpr int kKind = 2;
inline constexpr int kValue = 3;

/// Returns the change in the row.
inline Sample SampleIn(const Statement& row) {
    return {row.Number(kTime), static_cast<Kind>(row.Number(kKind)),
            row.IsNothing(kValue) ? std::nullopt : std::optional(row.Text(kValue))};
}

/// Returns whether the row is the mark of a recording that has ended.
inline bool EndsRecording(const Statement& row) {
    return row.Number(kProperty) == kMarks && row.Text(kValue) == Mark::kEnded;
}

}  // namespace vantry::history
