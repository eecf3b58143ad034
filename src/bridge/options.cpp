// The command line of vantry-bridge, and the file of --config, whose lines are the long options
// without the hyphens. What the options say together is checked after both have been read: whether
// the broker may be reached without encryption, and whether writes are possible at all.

#include "bridge/options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "describe/glob.h"
#include "mqtt/broker_options.h"
#include "program/arguments.h"

namespace vantry::bridge {
namespace {

/// The options as texts.
struct Typed {
    mqtt::BrokerOptions broker;
    std::string device;
    std::string tcp;
    std::string serial;
    std::vector<std::string> deadbands;
};

void AddPlaces(CLI::App& app, Options& options, Typed& typed) {
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.set_config("--config", "", "read options from this file")->type_name("FILE");
    CLI::Option* const device =
        app.add_option("--device", typed.device, "the socket of the hub's local device")
            ->type_name("PATH");
    CLI::Option* const tcp = app.add_option("--tcp", typed.tcp, "reach the hub over TCP")
                                 ->type_name("HOST[:PORT]")
                                 ->excludes(device);
    CLI::Option* const serial =
        app.add_option("--serial", typed.serial, "the serial number of the printer")
            ->type_name("N");
    app.add_option("--printers", options.printersFile,
                   "serve the printers of this file, which is read again when it changes")
        ->type_name("FILE")
        ->excludes(device)
        ->excludes(tcp)
        ->excludes(serial);
    typed.broker.AddTo(app, "the printer's certificate; %s is its number",
                       "the key of the certificate; %s as well");
    app.add_option("--site", options.site, "the name of the site")->type_name("S")->required();
    app.add_option("--keep-alive", options.keepAliveSeconds, "seconds between signs of life")
        ->check(CLI::Range(5, 3600))
        ->capture_default_str();
}

void AddContent(CLI::App& app, Options& options, Typed& typed) {
    static const std::map<std::string, StyleName> kStyles = {
        {"plain", StyleName::kPlain},
        {"homeassistant", StyleName::kHomeAssistant},
        {"sparkplug", StyleName::kSparkplug}};
    app.add_option("--style", options.style, "plain, homeassistant or sparkplug")
        ->transform(CLI::CheckedTransformer(kStyles).description(""))
        ->type_name("STYLE");
    app.add_option("--primary-host", options.primaryHost,
                   "with sparkplug: send only while this host says that it is online")
        ->type_name("ID");
    app.add_flag("--all-groups", options.allGroups,
                 "publish all groups that the hub shows, and not only those for outside");
    app.add_option("--allow-write", options.allowWrite,
                   "let the broker's clients write properties COMPONENT/GROUP/NAME that match")
        ->type_name("GLOB")
        ->take_all();
    app.add_option("--deadband", typed.deadbands,
                   "don't publish changes of matching numbers that are smaller")
        ->type_name("GLOB=NUMBER")
        ->take_all();
    app.add_option("--urgent", options.urgent,
                   "publish matching properties at once (default: */*Error/*)")
        ->type_name("GLOB")
        ->take_all();
    app.add_flag("--retire", options.retire,
                 "remove what the broker retains of the printers, and end");
}

void AddTiming(CLI::App& app, Options& options) {
    const auto seconds = [&](const char* name, double& into, double least, const char* meaning) {
        app.add_option(name, into, meaning)
            ->check(CLI::Range(least, 86400.0))
            ->type_name("SECONDS")
            ->capture_default_str();
    };
    seconds("--batch", options.batchSeconds, 0.01, "collect changes for so long");
    seconds("--batch-numbers", options.numberSeconds, 0.01, "collect changes of numbers");
    seconds("--state-period", options.stateSeconds, 0.1, "how old the retained state may get");
    seconds("--reconnect-first", options.reconnectFirstSeconds, 0.05,
            "the pause after a failed connection");
    seconds("--reconnect-longest", options.reconnectLongestSeconds, 0.05,
            "the longest pause, to which it doubles");
    app.add_option("--spread", options.spreadSeconds,
                   "spread first connections over this time (default: 60 after a boot)")
        ->check(CLI::Range(0.0, 3600.0))
        ->type_name("SECONDS");
    app.add_option("--spool", options.spool, "keep what waits for the broker in this directory")
        ->type_name("DIR");
    app.add_option("--spool-size", options.spoolBytes, "how much is kept (default: 64MiB)")
        ->transform(CLI::AsSizeValue(false).description(""))
        ->type_name("SIZE");
    app.add_option("--history-rate", options.historyPerSecond,
                   "messages a second in which it is sent later")
        ->check(CLI::Range(0.1, 10000.0))
        ->capture_default_str();
}

client::Endpoint HubOf(const Typed& typed) {
    if (typed.tcp.empty()) {
        if (typed.device.empty()) {
            RefuseArguments(
                "--device PATH, --tcp HOST:PORT or --printers FILE must say where the hub is");
        }
        return client::Endpoint::Device(typed.device);
    }
    const client::Result<client::Endpoint> endpoint = client::Endpoint::ParseTcp(typed.tcp);
    if (!endpoint) {
        RefuseArguments(endpoint.error().text);
    }
    return *endpoint;
}

Inventory::Deadband DeadbandIn(const std::string& text) {
    const auto rule = describe::GlobNumberIn(text);
    if (!rule) {
        RefuseArguments("--deadband takes GLOB=NUMBER: '" + text + "'");
    }
    return {rule->glob, rule->number};
}

void Settle(Options& options, const Typed& typed) {
    const auto broker = typed.broker.Broker();
    if (!broker) {
        RefuseArguments(broker.error().text);
    }
    options.broker = *broker;
    options.tls = typed.broker.Files();
    options.isVersion5 = typed.broker.IsVersion5();
    if (!IsName(options.site)) {
        RefuseArguments("--site takes letters, digits, _ and -, at most 64: '" + options.site +
                        "'");
    }
    if (options.printersFile.empty()) {
        if (!IsName(typed.serial)) {
            RefuseArguments("--serial takes letters, digits, _ and -, at most 64: '" +
                            typed.serial + "'");
        }
        options.printer = PrinterEntry{typed.serial, HubOf(typed)};
    }
    if (!options.allowWrite.empty() && !typed.tcp.empty()) {
        RefuseArguments("--allow-write needs --device: the hub takes no writes over TCP");
    }
    for (const std::string& text : typed.deadbands) {
        options.deadbands.push_back(DeadbandIn(text));
    }
    if (!options.primaryHost.empty() && options.style != StyleName::kSparkplug) {
        RefuseArguments("--primary-host needs --style sparkplug");
    }
    if (options.primaryHost.find_first_of("/+#") != std::string::npos) {
        RefuseArguments("--primary-host takes the name of a host: '" + options.primaryHost + "'");
    }
    if (options.urgent.empty()) {
        options.urgent = {"*/*Error/*"};
    }
}

}  // namespace

bool IsName(const std::string& text) {
    constexpr std::size_t kLongest = 64;
    constexpr const char* kLetters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    return !text.empty() && text.size() <= kLongest &&
           text.find_first_not_of(kLetters) == std::string::npos;
}

std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus) {
    CLI::App app{"Publishes the properties of printers at an MQTT broker.", "vantry-bridge"};
    Options options;
    Typed typed;
    AddPlaces(app, options, typed);
    AddContent(app, options, typed);
    AddTiming(app, options);
    app.set_version_flag("--version", "vantry-bridge " VANTRY_VERSION);
    if (const auto ended = ParseArguments(app, argc, argv, [&] { Settle(options, typed); })) {
        exitStatus = *ended;
        return std::nullopt;
    }
    return options;
}

}  // namespace vantry::bridge
