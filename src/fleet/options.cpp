// The command line of vantry-fleet, and the file of --config, whose lines are the long options
// without the hyphens.

#include "fleet/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/base/times.h"
#include "describe/glob.h"
#include "mqtt/broker_options.h"
#include "program/arguments.h"

namespace vantry::fleet {
namespace {

/// The options as texts.
struct Typed {
    mqtt::BrokerOptions broker;
    std::string olderThan;
    std::string timeout = "60s";
    std::string silence = "1s";
};

void AddBroker(CLI::App& app, Typed& typed) {
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.set_config("--config", "", "read options from this file")->type_name("FILE");
    typed.broker.AddTo(app, "the certificate of this client", "the key of the certificate");
    app.add_option("--timeout", typed.timeout, "how long the broker may take")
        ->type_name("DURATION")
        ->capture_default_str();
    app.add_option("--silence", typed.silence,
                   "the list is complete when the broker has sent nothing for so long")
        ->type_name("DURATION")
        ->capture_default_str();
}

void AddSelection(CLI::App& app, Options& options, Typed& typed) {
    Selection& selection = options.selection;
    app.add_option("--site", options.sites, "only the printers of these sites")->type_name("S");
    app.add_option("--serial", selection.serials, "only printers whose number matches")
        ->type_name("GLOB");
    CLI::Option* const online = app.add_flag("--online", selection.online, "only those online");
    app.add_flag("--offline", selection.offline, "only those offline")->excludes(online);
    app.add_flag("--errors", selection.errors, "only those with errors");
    app.add_flag("--troubled", selection.troubled,
                 "only those that are offline, without their hub or with errors");
    app.add_option("--version-is", selection.version,
                   "only those whose bridge or firmware has a version that matches")
        ->type_name("GLOB");
    app.add_option("--older-than", typed.olderThan, "only those whose news are at least so old")
        ->type_name("DURATION");
    app.add_flag("--oldest-first", options.oldestFirst, "begin with the oldest news");
    CLI::Option* const json = app.add_flag("--json", options.json, "write JSON");
    CLI::Option* const csv = app.add_flag("--csv", options.csv, "write CSV")->excludes(json);
    app.add_flag("--metrics", options.metrics, "write sums in the text format of Prometheus")
        ->excludes(json)
        ->excludes(csv);
}

bool Matches(const std::string& glob, const std::string& text) {
    return describe::GlobMatches(glob, text, describe::LetterCase::Exact);
}

std::chrono::milliseconds Duration(const std::string& text) {
    const auto duration = cli::ParseDuration(text);
    if (!duration) {
        RefuseArguments(duration.error().text);
    }
    return *duration;
}

void Settle(Options& options, const Typed& typed) {
    const auto broker = typed.broker.Broker();
    if (!broker) {
        RefuseArguments(broker.error().text);
    }
    options.broker = *broker;
    options.tls = typed.broker.Files();
    options.isVersion5 = typed.broker.IsVersion5();
    for (const std::string& site : options.sites) {
        if (site.empty() || site.find_first_of("/+#") != std::string::npos) {
            RefuseArguments("--site takes the name of a site: '" + site + "'");
        }
    }
    options.timeout = Duration(typed.timeout);
    options.silence = Duration(typed.silence);
    if (!typed.olderThan.empty()) {
        options.selection.olderThan = Duration(typed.olderThan);
    }
}

}  // namespace

bool Selection::Fits(const Printer& printer, std::int64_t now) const {
    const bool isNamed =
        serials.empty() || std::any_of(serials.begin(), serials.end(), [&](const auto& glob) {
            return Matches(glob, printer.serial);
        });
    const bool isOfVersion =
        version.empty() || Matches(version, printer.bridge) || Matches(version, printer.firmware);
    return isNamed && isOfVersion && (!online || printer.isOnline) &&
           (!offline || !printer.isOnline) && (!errors || !printer.errors.empty()) &&
           (!troubled || printer.IsTroubled()) &&
           (!olderThan || now - printer.news >= olderThan->count());
}

std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus) {
    CLI::App app{"Lists the printers of a broker: who is there, with which errors and versions.",
                 "vantry-fleet"};
    Options options;
    Typed typed;
    AddBroker(app, typed);
    AddSelection(app, options, typed);
    app.set_version_flag("--version", "vantry-fleet " VANTRY_VERSION);
    if (const auto ended = ParseArguments(app, argc, argv, [&] { Settle(options, typed); })) {
        exitStatus = *ended;
        return std::nullopt;
    }
    return options;
}

}  // namespace vantry::fleet
