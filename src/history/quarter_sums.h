#pragma once

#include <cstdint>
#include <map>

#include "client/result.h"
#include "history/database.h"
#include "history/moment.h"
#include "history/step_sums.h"

namespace vantry::history {

/// Fills the table of quarters of an hour from that of changes, a quarter at a time.
///
/// A row says what a property did in the quarter, and which change holds at its end. So it is known
/// without a search which value a property had at the start of each quarter. A quarter in which a
/// property wasn't known and didn't change has no row of it. It belongs to the thread of the
/// database.
class QuarterSums {
public:
    /// Takes up after the last quarter in the table.
    client::Outcome Load(Database& database);
    /// Adds the quarters that have ended at this moment. The caller runs a transaction around it,
    /// and calls Load again if it fails.
    client::Outcome AddUntil(Database& database, Moment now);
    /// Returns whether a quarter has ended that isn't in the table.
    bool IsDue(Moment now) const { return (next + 1) * kQuarter <= now; }

private:
    struct Followed {
        StepSummer summer;
        /// The key of the change that holds.
        Moment last = 0;
    };

    client::Outcome ReadChanges(Database& database, std::int64_t quarter);
    client::Outcome WriteRows(Database& database, std::int64_t quarter);

    /// The first quarter that isn't in the table, counted from 1970.
    std::int64_t next = 0;
    std::map<std::int64_t, Followed> followed;
};

}  // namespace vantry::history
