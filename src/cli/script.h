#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "client/property.h"
#include "client/result.h"

namespace vantry::cli {

/// A value that moves by itself, from one number to another and back.
struct Ramp {
    double from;
    double to;
    /// For one way.
    double seconds;

    /// Where it is so long after its start.
    double At(double elapsed) const;
};

/// One property of a played component.
struct ScriptedProperty {
    client::Announcement announcement;
    std::optional<Ramp> ramp;
};

/// What `vantry announce` plays. The file has lines of words; a word with blanks stands in double
/// quotes, and # begins a comment.
///
///     component NAME [GUID]
///     group NAME [GUID]
///     property NAME [GUID] TYPE VALUE [readonly] [ramp FROM TO SECONDS] [fails]
///
/// TYPE is text, number, truth or command. The GUIDs of the printer's own components and groups are
/// known; others that are left out are made of the names.
client::Result<std::vector<ScriptedProperty>> ReadScript(std::istream& file);

}  // namespace vantry::cli
