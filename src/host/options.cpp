// The command line of vantryd.
//
// The command line library passes the text of each option to a function, which parses it and throws
// an exception of that library if it is wrong, so that all wrong options are reported in one place
// and form. Directories and limits depend on each other and on the machine, so their values are
// completed after the whole line has been parsed.

#include "host/options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "platform/setting_texts.h"
#include "program/arguments.h"
#include "runtime/default_paths.h"

namespace vantry {
namespace {

/// Adds an option. `read` converts its text to a value, which is assigned to `target`.
template <typename Target, typename Read>
void AddOption(CLI::App& app, const std::string& name, const std::string& form,
               const std::string& meaning, Target& target, const Read& read) {
    const auto take = [name, form, read, &target](const std::string& text) {
        const auto value = read(text);
        if (!value) {
            throw CLI::ValidationError(name + " takes " + form + ": '" + text + "'");
        }
        target = *value;
    };
    app.add_option_function<std::string>(name, take, meaning)->type_name(form);
}

std::optional<std::filesystem::path> DirectoryFrom(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<std::filesystem::path>(text);
}

/// The options that aren't part of Options.
struct Asked {
    std::optional<std::string> limitsFile;
    bool printLimits = false;
};

void AddOptions(CLI::App& app, Options& options, Asked& asked) {
    app.get_formatter()->label("Usage", "usage");
    app.option_defaults()->take_last();
    AddOption(app, "--root", "DIR",
              "directory that stands for the printer's file system "
              "(/var/lib/vantry as root, else ~/.local/state/vantry)",
              options.root, DirectoryFrom);
    AddOption(app, "--devices", "DIR",
              "directory of the device sockets PRN1, UMF1 and BTD0 "
              "(/run/vantry as root, else $XDG_RUNTIME_DIR/vantry)",
              options.devices, DirectoryFrom);
    AddOption(app, "--port", "0-65535", "TCP port; 0 takes a free one, 65534 opens none (9102)",
              options.port, PortFrom);
    AddOption(app, "--bind", "IPV4-ADDRESS", "address to listen on (all interfaces)",
              options.address, AddressFrom);
    app.add_flag("--bluetooth", options.bluetooth,
                 "listen on the machine's RFCOMM channel 2 as well");
    AddOption(app, "--saves", "in-place|replace",
              "how the property file is written: over the old one, or beside it and renamed "
              "(in-place)",
              options.settings.saves, SavesFrom);
    app.add_option("--limits", asked.limitsFile, "bounds of what peers can make the hub hold")
        ->type_name("FILE");
    app.add_flag("--print-limits", asked.printLimits, "write the bounds in force, and end");
    AddOption(app, "--external-reports", "any|own|none",
              "which properties external peers may report (any)", options.settings.externalReports,
              ExternalReportsFrom);
    app.set_version_flag("--version", "vantryd " VANTRY_VERSION);
}

void SettleLimits(Limits& limits, const std::optional<std::string>& file) {
    limits.FitToMachine();
    if (!file) {
        return;
    }
    if (const std::string error = limits.ReadFile(*file); !error.empty()) {
        RefuseArguments("--limits: " + *file + ": " + error);
    }
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus) {
    CLI::App app{"Runs the property hub and serves its devices until SIGTERM, SIGINT or SIGHUP.",
                 "vantryd"};
    Options options;
    Asked asked;
    AddOptions(app, options, asked);
    const auto settle = [&] { SettleLimits(options.limits, asked.limitsFile); };
    if (const auto ended = ParseArguments(app, argc, argv, settle, app.help())) {
        exitStatus = *ended;
        return std::nullopt;
    }
    if (asked.printLimits) {
        std::fputs(options.limits.Print().c_str(), stdout);
        exitStatus = 0;
        return std::nullopt;
    }
    if (options.root.empty()) {
        options.root = DefaultRoot();
    }
    if (options.devices.empty()) {
        options.devices = DefaultDevices(options.root);
    }
    return options;
}

}  // namespace vantry
