#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

/// What the command line of vantryd asks for.
struct Options {
    enum class Action { Run, ShowVersion, ShowHelp };

    Action action = Action::Run;
    std::filesystem::path root;
    std::filesystem::path devices;
    /// In place of the hub's own port.
    std::optional<std::uint16_t> port;
    /// The interface to listen on, in host order; 0 is all of them.
    std::uint32_t address = 0;
    /// Whether to listen on the machine's Bluetooth hardware too.
    bool bluetooth = false;
};

/// The options of a command line; nothing, with the reason in `error`, if it is wrong.
std::optional<Options> ParseOptions(int argc, char** argv, std::string& error);

std::string_view UsageText();

}  // namespace vantry
