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
#include "describe/glob.h"
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

client::Result<describe::GlobNumber> RuleIn(const std::string& text) {
    if (const auto rule = describe::GlobNumberIn(text)) {
        return *rule;
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
        rules.SetDeadband(rule->glob, rule->number);
    }
    for (const std::string& text : options.intervals) {
        const auto rule = RuleIn(text);
        if (!rule) {
            return rule.error();
        }
        rules.SetLeastInterval(rule->glob, static_cast<history::Moment>(rule->number * 1e6));
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

/// Opens the file with the rules and bounds of the options. What goes wrong later is printed.
client::Result<std::unique_ptr<history::Recorder>> OpenRecorder(const RecordOptions& options,
                                                                history::RecordingRules rules) {
    history::Recorder::Options recording;
    recording.rules = std::move(rules);
    recording.bounds.age =
        static_cast<history::Moment>(options.keepDays * static_cast<double>(history::kDay));
    recording.bounds.bytes = static_cast<std::uint64_t>(options.mostMebibytes) << 20U;
    recording.commitInterval = static_cast<history::Moment>(options.commitSeconds * 1e6);
    recording.onError = [](const client::Error& error) {
        fmt::print(stderr, "vantry: {}; the changes wait in memory meanwhile\n", error.text);
    };
    return history::Recorder::Open(options.history.File(), std::move(recording));
}

/// Records what the hub reports until there is an interrupt.
int RecordUntilInterrupted(const Context& context, const client::Endpoint& endpoint,
                           history::Recorder& recorder, const std::string& file) {
    client::Hub::Options options;
    options.deadlineMilliseconds = context.TimeoutMilliseconds();
    options.onConnection = [&recorder](bool connected) {
        recorder.MarkConnection(connected);
        NotifyServiceManager(connected ? "STATUS=recording"
                                       : "STATUS=the hub is gone, trying again");
    };
    const auto hub = ConnectWhenThereIsAHub(endpoint, options);
    if (!hub) {
        return Fail(hub.error());
    }
    if (*hub == nullptr) {
        return Exit::kDone;
    }
    const client::Subscription subscription =
        (*hub)->Subscribe(client::Interest::Everything(),
                          [&recorder](const client::Property& change) { recorder.Add(change); });
    fmt::print("{}\n", context.json ? OneLine({{"recording", file}}) : "recording to " + file);
    std::fflush(stdout);
    while (!Interrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    NotifyServiceManager("STOPPING=1");
    return Exit::kDone;
}

int RunRecord(const Context& context, const RecordOptions& options) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    auto rules = RulesOf(options);
    if (!rules) {
        return FailUsage(rules.error().text);
    }
    const auto recorder = OpenRecorder(options, std::move(*rules));
    if (!recorder) {
        return Fail(recorder.error());
    }
    CatchInterrupts();
    NotifyServiceManager("READY=1\nSTATUS=no hub yet");
    return RecordUntilInterrupted(context, *endpoint, **recorder, options.history.File().string());
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
