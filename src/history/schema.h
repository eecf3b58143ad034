#pragma once

#include <cstdint>
#include <string>

#include "history/database.h"

namespace vantry::history {

// The tables of a history, which docs/HISTORY.md describes.

/// The reason for which a row of the table `change` was written.
enum class Kind : std::uint8_t {
    /// The hub has published the value.
    Change = 0,
    /// Reading again showed the value; when it changed isn't known.
    Reconciled = 1,
    /// The value when the recording began, or when the property was seen first.
    Start = 2
};

/// Returns "change", "reconciled" or "start".
const char* NameOf(Kind kind);

/// The property under which marks about the recording itself are written.
constexpr std::int64_t kMarks = 0;

/// The texts of marks. A mark about lost changes has their number behind kDropped.
struct Mark {
    static constexpr const char* kBegan = "began";
    static constexpr const char* kEnded = "ended";
    static constexpr const char* kHubLost = "hub lost";
    static constexpr const char* kHubBack = "hub back";
    static constexpr const char* kDropped = "dropped ";
};

/// Creates the tables in an empty database. Returns Refused for a file that is something else, or
/// that a later version has made.
client::Outcome PrepareSchema(Database& database);
/// Does the check alone, for a reader.
client::Outcome CheckSchema(Database& database);

}  // namespace vantry::history
