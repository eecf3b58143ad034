#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bridge/inventory.h"
#include "client/endpoint.h"
#include "mqtt/broker_address.h"
#include "mqtt/tls_files.h"

namespace vantry::bridge {

enum class StyleName { kPlain, kHomeAssistant, kSparkplug };

/// One printer: its serial number, and where its hub is.
struct PrinterEntry {
    std::string serial;
    client::Endpoint hub;
};

/// What the command line and the configuration file say.
struct Options {
    mqtt::BrokerAddress broker;
    /// "%s" in these names stands for the serial number.
    mqtt::TlsFiles tls;
    bool isVersion5 = true;
    int keepAliveSeconds = 60;
    std::string site;
    /// The one printer of the command line, or none if there is a file of printers.
    std::optional<PrinterEntry> printer;
    std::string printersFile;
    StyleName style = StyleName::kPlain;
    /// The host that Sparkplug waits for; empty: none.
    std::string primaryHost;
    bool allGroups = false;
    std::vector<std::string> allowWrite;
    std::vector<Inventory::Deadband> deadbands;
    std::vector<std::string> urgent;
    double batchSeconds = 1;
    double numberSeconds = 10;
    double stateSeconds = 300;
    double reconnectFirstSeconds = 1;
    double reconnectLongestSeconds = 300;
    /// The time over which first connections are spread; not set: as the program decides.
    std::optional<double> spreadSeconds;
    std::string spool;
    std::size_t spoolBytes = 64U << 20U;
    double historyPerSecond = 20;
    /// Whether the retained messages are to be removed, and nothing else done.
    bool retire = false;
};

/// Parses the arguments and the configuration file that they name. Returns nothing, with
/// `exitStatus` set, if the program is to end: because of a wrong option, or after the help.
std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus);

/// Returns a time of the options in the unit of the loop.
inline std::uint64_t Milliseconds(double seconds) {
    return static_cast<std::uint64_t>(seconds * 1000);
}

/// Returns whether the text can be the name of a site or a serial number: it becomes a level of a
/// topic and the name of a folder.
bool IsName(const std::string& text);

}  // namespace vantry::bridge
