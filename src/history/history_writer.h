#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"
#include "history/database.h"
#include "history/moment.h"
#include "history/quarter_sums.h"
#include "history/recording_claim.h"
#include "history/schema.h"

namespace vantry::history {

/// One row of the table of changes. No value means that the property is gone.
struct ChangeRow {
    Moment time;
    std::int64_t property;
    Kind kind;
    std::optional<std::string> value;
};

/// How much a history may hold.
struct HistoryBounds {
    Moment age = 30 * kDay;
    /// The size of the database file. The journal beside it may have 4 MiB more.
    std::uint64_t bytes = 256U << 20U;
};

/// Writes a history. It belongs to one thread at a time. Readers may use the file at the same time.
/// All operations but IdOf block for the disk.
class HistoryWriter {
public:
    /// Opens the file, or creates it with its folder. Returns Refused if another writer has it. If
    /// the last recording didn't end in order, its end is entered.
    static client::Result<HistoryWriter> Open(const std::filesystem::path& file,
                                              HistoryBounds bounds);

    /// Returns the moment of the newest row that the file had when it was opened; 0 for none.
    Moment LastMoment() const { return lastMoment; }
    /// Returns the number of the property in the tables. A new one, or one with new names, is
    /// entered with the next rows.
    std::int64_t IdOf(const client::Property& property);
    /// Writes all rows, or none of them, as one transaction. Then it sums up the quarters of an
    /// hour that have ended before `now`, and deletes what is beyond the bounds; whatever fails of
    /// that is tried again the next time.
    client::Outcome Write(const std::vector<ChangeRow>& rows, Moment now);

private:
    struct Entry {
        std::int64_t id;
        client::Property names;
    };

    HistoryWriter(RecordingClaim taken, Database opened, HistoryBounds itsBounds)
        : claim(std::move(taken)), database(std::move(opened)), bounds(itsBounds) {}
    client::Outcome Prepare();
    client::Outcome EndLastRecording();
    client::Outcome Insert(const std::vector<ChangeRow>& rows, Moment now);
    client::Outcome InsertProperties();
    client::Outcome SumUp(Moment now);
    /// Deletes the changes before this quarter, except those that hold at its begin.
    client::Outcome DeleteBefore(std::int64_t quarter);
    client::Outcome KeepBounds(Moment now);
    bool IsNearlyFull();

    RecordingClaim claim;
    Database database;
    HistoryBounds bounds;
    Moment lastMoment = 0;
    std::map<client::PropertyId, Entry> entries;
    /// The properties that aren't in the table yet, or have other names there.
    std::map<std::int64_t, client::Property> unwritten;
    QuarterSums sums;
};

}  // namespace vantry::history
