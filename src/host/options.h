#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "platform/hub_settings.h"
#include "platform/limits.h"

namespace vantry {

/// What the command line of vantryd asks for.
struct Options {
    std::filesystem::path root;
    std::filesystem::path devices;
    /// In place of the hub's own port.
    std::optional<std::uint16_t> port;
    /// The interface to listen on, in host order; 0 is all of them.
    std::uint32_t address = 0;
    /// Whether to listen on the machine's Bluetooth hardware too.
    bool bluetooth = false;
    HubSettings settings;
    /// The built-in values, fitted to the machine, with those of the limits file in their place. A
    /// limits file may exceed what the machine seems to have: its writer knows better.
    Limits limits;
};

/// Reads a command line. Returns nothing, after writing what there is to write, if the program is
/// to end now with `exitStatus`: it was asked for a text, or an option is wrong.
std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus);

}  // namespace vantry
