// `vantry history record`: a recorder until it is interrupted.
//
// It begins also without a hub, and tries again each second; afterwards the client library keeps
// the connection. The recorder commits on a thread of its own, so this one only waits. Under a
// service manager it is ready as soon as it has its file, since the hub may come later.

#include <fmt/core.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/history/history_options.h"
#include "describe/description.h"
#include "history/recorder.h"
#include "runtime/service_notify.h"

namespace vantry::cli {
namespace {

struct RecordOptions {
    HistoryOptions history;
    double keepDays = 30;
    int mostMebibytes = 256;
    double commitSeconds = 30;
    std::vector<std::string> deadbands;
    std::vector<std::string> intervals;
    std::vector<std::string> exclusions;
};

/// Splits "GLOB=NUMBER" at its last "=".
client::Result<std::pair<std::string, double>> RuleIn(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    if (equals != std::string::npos) {
        const auto number = describe::NumberIn(text.substr(equals + 1));
        if (number && *number >= 0) {
            return std::pair(text.substr(0, equals), *number);
        }
    }
    return client::Error{client::ErrorCode::Refused,
                         "\"" + text + "\" isn't GLOB=NUMBER, such as \"Sensors/*=0.5\""};
}

client::Result<history::RecordingRules> RulesOf(const RecordOptions& options) {
    history::RecordingRules rules;
    for (const std::string& text : options.deadbands) {
        const auto rule = RuleIn(text);
        if (!rule) {
            return rule.error();
        }
        rules.SetDeadband(rule->first, rule->second);
    }
    for (const std::string& text : options.intervals) {
        const auto rule = RuleIn(text);
        if (!rule) {
            return rule.error();
        }
        rules.SetLeastInterval(rule->first, static_cast<history::Moment>(rule->second * 1e6));
    }
    for (const std::string& glob : options.exclusions) {
        rules.Exclude(glob);
    }
    return rules;
}

/// Connects, or waits for a hub until there is an interrupt, in which case the result is null.
client::Result<std::unique_ptr<client::Hub>> ConnectWhenThereIsAHub(
    const client::Endpoint& endpoint, const client::Hub::Options& options) {
    for (bool told = false; !Interrupted(); told = true) {
        auto hub = client::Hub::Connect(endpoint, options);
        if (hub || hub.error().code == client::ErrorCode::Refused) {
            return hub;
        }
        if (!told) {
            fmt::print(stderr, "vantry: {}; trying again\n", hub.error().text);
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    return std::unique_ptr<client::Hub>();
}

int RunRecord(const Context& context, const RecordOptions& options) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    const auto rules = RulesOf(options);
    if (!rules) {
        Fail(rules.error());
        return Exit::kUsage;
    }
    history::Recorder::Options recording;
    recording.rules = *rules;
    recording.bounds.age =
        static_cast<history::Moment>(options.keepDays * static_cast<double>(history::kDay));
    recording.bounds.bytes = static_cast<std::uint64_t>(options.mostMebibytes) << 20U;
    recording.commitInterval = static_cast<history::Moment>(options.commitSeconds * 1e6);
    recording.onError = [](const client::Error& error) {
        fmt::print(stderr, "vantry: {}; what is told meanwhile waits in memory\n", error.text);
    };
    const auto recorder = history::Recorder::Open(options.history.File(), std::move(recording));
    if (!recorder) {
        return Fail(recorder.error());
    }
    CatchInterrupts();
    NotifyServiceManager("READY=1\nSTATUS=no hub yet");
    client::Hub::Options hubOptions;
    hubOptions.deadlineMilliseconds = context.TimeoutMilliseconds();
    hubOptions.onConnection = [&](bool connected) {
        (*recorder)->MarkConnection(connected);
        NotifyServiceManager(connected ? "STATUS=recording"
                                       : "STATUS=the hub is gone, trying again");
    };
    const auto hub = ConnectWhenThereIsAHub(*endpoint, hubOptions);
    if (!hub) {
        return Fail(hub.error());
    }
    if (*hub == nullptr) {
        return Exit::kDone;
    }
    const client::Subscription subscription =
        (*hub)->Subscribe(client::Interest::Everything(),
                          [&](const client::Property& change) { (*recorder)->Add(change); });
    const std::string file = options.history.File().string();
    fmt::print("{}\n", context.json ? OneLine({{"recording", file}}) : "recording to " + file);
    std::fflush(stdout);
    while (!Interrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    NotifyServiceManager("STOPPING=1");
    return Exit::kDone;
}

}  // namespace

void AddHistory(CommandLine& line) {
    line.AddFamily({.name = "history",
                    .summary = "record changes, and see what was recorded",
                    .group = CommandGroup::kReading});
    const auto options = std::make_shared<RecordOptions>();
    CommandOptions command =
        line.Add({.name = "history record",
                  .summary = "record every change until Ctrl-C",
                  .group = CommandGroup::kReading,
                  .examples = "  vantry history record --keep 7 --deadband 'Sensors/*=0.5'\n"
                              "  vantry history record --interval '*Temperature*=10'\n",
                  .topics = "times"},
                 [options](const Context& context) { return RunRecord(context, *options); });
    HistoryOptions::AddFile(command, options->history);
    command.Number("--keep", options->keepDays, 0.05, 36500, "days after which changes are deleted")
        .Count("--most", options->mostMebibytes, 1, 1 << 20, "MiB that the file may have")
        .Number("--commit", options->commitSeconds, 0.1, 3600, "seconds between two commits")
        .Texts("--deadband", options->deadbands,
               "GLOB=NUMBER: record a number when it differs by so much")
        .Texts("--interval", options->intervals,
               "GLOB=SECONDS: record a value when so much time has passed")
        .Texts("--exclude", options->exclusions, "a glob of properties that aren't recorded");
}

}  // namespace vantry::cli
