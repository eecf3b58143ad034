#pragma once

#include <memory>
#include <string>

#include "bridge/options.h"
#include "bridge/style.h"
#include "mqtt/connection.h"

namespace vantry::bridge {

// How a printer appears at the broker. Functions with no state.

/// Returns a new object of the style that the options name, for this printer. It offers writes if
/// the options allow some and the hub isn't reached over TCP, where it takes none.
std::unique_ptr<Style> MakeStyle(const Options& options, const PrinterEntry& entry);

/// Returns the settings of the printer's connection, without a will. The serial number is the name
/// of the client.
mqtt::Connection::Settings ConnectionFor(const Options& options, const std::string& serial);

}  // namespace vantry::bridge
