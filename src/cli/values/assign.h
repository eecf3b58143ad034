#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "client/hub.h"

namespace vantry::cli {

/// A value for a property, as the catalog showed it before.
struct Assignment {
    client::Property before;
    std::string value;
};

/// What became of an assignment.
struct Assigned {
    enum class How {
        /// The property has the value.
        Done,
        /// The hub or the owner reported another value.
        Refused,
        /// A command was run, and its result is "False".
        Failed,
        /// The owner reported nothing within the time.
        Silent,
        /// The property was withdrawn.
        Gone
    };

    client::Property now;
    How how = How::Silent;
};

/// Writes all values in one message and waits for what the owners report, at most for `atMost`.
/// Returns what became of each, in their order, or why nothing was sent. An owner that goes on
/// reporting other values for a second and a half has refused. The owner of a command whose last
/// result was "False" reports nothing when it fails again, because nothing changes.
client::Result<std::vector<Assigned>> Assign(client::Hub& hub,
                                             const std::vector<Assignment>& assignments,
                                             std::chrono::milliseconds atMost);

}  // namespace vantry::cli
