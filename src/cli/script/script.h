#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// A value that changes from one number to another and back, again and again.
struct Ramp {
    double from;
    double to;
    /// The time from one number to the other.
    double seconds;

    /// Returns the value `elapsed` seconds after the start.
    double At(double elapsed) const;
};

/// One property of a simulated component. The announcement answers writes; a read-only one has no
/// handler.
struct ScriptedProperty {
    client::Announcement announcement;
    std::optional<Ramp> ramp;
};

/// Reads the description of a component. The file has lines of words; a word with blanks is written
/// in double quotes, and # begins a comment.
///
///     component NAME [GUID]
///     group NAME [GUID]
///     property NAME [GUID] TYPE VALUE [readonly] [ramp FROM TO SECONDS] [fails]
///
/// TYPE is text, number, bool (or its old name, truth) or command. The GUIDs of the printer's own
/// components and groups are known; others that are left out are derived from the names. An error
/// (Refused) names the line and what is wrong with it.
client::Result<std::vector<ScriptedProperty>> ReadScript(std::istream& file);

}  // namespace vantry::cli
