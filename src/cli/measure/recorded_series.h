#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/measure/series.h"
#include "client/result.h"
#include "history/history.h"

namespace vantry::cli {

/// Reads the numbers of the properties that `words` name from a history file. The span begins no
/// earlier than the history. A property that had no number in the span is left out. Returns an
/// error if the file can't be read or a name selects nothing.
client::Result<Recording> ReadSeries(const std::filesystem::path& file,
                                     const std::vector<std::string>& words, history::Span span);

}  // namespace vantry::cli
