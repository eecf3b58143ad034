#pragma once

#include <string>

#include "client/result.h"
#include "history/moment.h"

namespace vantry::cli {

/// Parses a moment: a duration with its unit, such as "2h", before `now`, or "2026-03-01",
/// "2026-03-01 14:30" or "2026-03-01 14:30:05" by the clock of the user's time zone. Returns
/// Refused, with examples, for any other text.
client::Result<history::Moment> ParseMoment(const std::string& text, history::Moment now);

/// Returns "2026-03-01 14:30:05.250" by the clock of the user's time zone.
std::string LocalTime(history::Moment moment);
/// Returns "2026-03-01T13:30:05.250000Z".
std::string UtcTime(history::Moment moment);

}  // namespace vantry::cli
