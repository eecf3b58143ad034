#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "platform/hub_settings.h"
#include "platform/limits.h"

namespace vantry {

/// The options of the command line of vantryd.
struct Options {
    std::filesystem::path root;
    std::filesystem::path devices;
    /// Replaces the hub's own port, if there is one.
    std::optional<std::uint16_t> port;
    /// The interface to listen on, in host order; 0 is all of them.
    std::uint32_t address = 0;
    /// Whether to listen on the machine's Bluetooth hardware too.
    bool bluetooth = false;
    HubSettings settings;
    /// The built-in values, fitted to the machine, and replaced by those of the limits file. A
    /// limits file may exceed what the machine seems to have, because its author may know better.
    Limits limits;
};

/// Parses a command line. Returns nothing if the program is to end with `exitStatus`, because it
/// was asked for a text, which was then written to standard output, or because an option is wrong,
/// which was reported on standard error.
std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus);

}  // namespace vantry
