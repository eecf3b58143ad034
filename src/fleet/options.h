#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "fleet/roster.h"
#include "mqtt/broker_address.h"
#include "mqtt/tls_files.h"

namespace vantry::fleet {

/// Which printers are wanted. What isn't set lets all through.
struct Selection {
    /// Globs; one of them must match.
    std::vector<std::string> serials;
    bool online = false;
    bool offline = false;
    bool errors = false;
    bool troubled = false;
    /// A glob for the version of the bridge or of the firmware.
    std::string version;
    /// What the printer has published last is at least so old.
    std::optional<std::chrono::milliseconds> olderThan;

    /// Returns whether the printer meets all conditions. `now` is in milliseconds since 1970.
    bool Fits(const Printer& printer, std::int64_t now) const;
};

/// What the command line and the configuration file say.
struct Options {
    mqtt::BrokerAddress broker;
    mqtt::TlsFiles tls;
    bool isVersion5 = true;
    std::vector<std::string> sites;
    Selection selection;
    bool oldestFirst = false;
    bool json = false;
    bool csv = false;
    bool metrics = false;
    /// How long the broker may take, and how long it must be silent before the list is complete.
    std::chrono::milliseconds timeout{60'000};
    std::chrono::milliseconds silence{1000};
};

/// Parses the arguments and the configuration file that they name. Returns nothing, with
/// `exitStatus` set, if the program is to end: because of a wrong option, or after the help.
std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus);

}  // namespace vantry::fleet
