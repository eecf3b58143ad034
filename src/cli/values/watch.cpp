// `vantry watch`: changes as lines, or as a table that updates in place.
//
// The client library queues the changes on a thread of its own; the main thread takes them from the
// queue and prints. It waits at most 100 ms at a time, so that it sees an interrupt and, in the
// table, a key soon. The connection is kept up by the library, which reports its loss and its
// return.

#include <fmt/chrono.h>
#include <fmt/core.h>

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "cli/base/command_line.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/select/condition.h"
#include "cli/select/property_names.h"
#include "cli/show/live_table.h"
#include "client/event_queue.h"

namespace vantry::cli {
namespace {

constexpr std::chrono::milliseconds kLook(100);

struct WatchOptions {
    std::vector<std::string> names;
    bool live = false;
    /// The number of changes after which the command ends; 0 means never.
    int count = 0;
    /// A condition, see Condition; the command ends with the value that fulfils it.
    std::string until;
};

/// When the command ends by itself.
struct End {
    int count;
    std::optional<Condition> condition;
    /// The property that the condition is about.
    client::PropertyId property;

    bool IsReached(int printed, const client::Property& change) const {
        return printed == count || (condition && change.id == property && change.available &&
                                    condition->Holds(change.value));
    }
};

std::string TimeNow() {
    const auto now = std::chrono::system_clock::now();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    return fmt::format("{:%H:%M:%S}.{:03}",
                       fmt::localtime(std::chrono::system_clock::to_time_t(now)), milliseconds);
}

/// Prints each loss and return of the connection to standard error unless it is quiet. Thread-safe.
class ConnectionReporter {
public:
    explicit ConnectionReporter(bool quietly) : quiet(quietly) {}

    void Report(bool isConnected) {
        const bool before = connected.exchange(isConnected);
        if (!quiet && before != isConnected) {
            fmt::print(stderr, "vantry: {}\n",
                       isConnected ? "connected again" : "connection lost, trying again");
        }
    }
    bool Connected() const { return connected; }

private:
    const bool quiet;
    std::atomic<bool> connected{true};
};

client::Result<client::Interest> InterestIn(client::Hub& hub,
                                            const std::vector<std::string>& names) {
    if (names.empty()) {
        return client::Interest::Everything();
    }
    const auto all = hub.ReadAll();
    if (!all) {
        return all.error();
    }
    std::vector<client::PropertyId> ids;
    for (const std::string& name : names) {
        const auto property = FindByName(*all, name);
        if (!property) {
            return property.error();
        }
        ids.push_back(property->id);
    }
    return client::Interest::List(ids);
}

void PrintChange(const client::Property& change, const Context& context, const Style& style) {
    const std::string time = TimeNow();
    if (context.json) {
        std::string line = ToJson(change);
        line.insert(1, "\"time\":\"" + time + "\",");
        fmt::print("{}\n", line);
    } else {
        fmt::print("{}  {} = {}\n", style.Faint(time), DisplayName(change, false),
                   change.available ? style.Changed(Printable(change.value)) : "(withdrawn)");
    }
    std::fflush(stdout);
}

/// Drops repeated notifications. The hub sends one record per change, each with the latest value,
/// so n changes within a period arrive as n identical records.
class DuplicateFilter {
public:
    /// Returns whether the change differs from the last one of its property, which it then
    /// replaces.
    bool IsNew(const client::Property& change) {
        std::string state = (change.available ? "+" : "-") + change.value;
        std::string& before = last[change.id];
        const bool isNew = before != state;
        before = std::move(state);
        return isNew;
    }

private:
    std::map<client::PropertyId, std::string> last;
};

int PrintChanges(client::EventQueue& changes, const Context& context, const End& end) {
    const Style style(context.Fancy());
    DuplicateFilter filter;
    for (int printed = 0; !Interrupted();) {
        if (const auto change = changes.Take(kLook); change && filter.IsNew(*change)) {
            PrintChange(*change, context, style);
            if (end.IsReached(++printed, *change)) {
                break;
            }
        }
    }
    return Exit::kDone;
}

int ShowTable(client::EventQueue& changes, const ConnectionReporter& reporter) {
    const Screen screen;
    const Style style(true);
    LiveTable table;
    while (!Interrupted()) {
        while (const auto change = changes.Take(std::chrono::milliseconds(0))) {
            table.Record(*change);
        }
        fmt::print("{}", table.Draw(TerminalSize::Now(), reporter.Connected(), TimeNow(), style));
        std::fflush(stdout);
        const char key = Screen::KeyWithin(static_cast<int>(kLook.count()));
        if (key == 'q') {
            break;
        }
        table.ScrollBy(key == 'j' ? 1 : key == 'k' ? -1 : 0);
    }
    return Exit::kDone;
}

int RunWatch(const Context& context, const WatchOptions& options) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    End end{.count = options.count, .condition = {}, .property = {}};
    std::vector<std::string> names = options.names;
    if (!options.until.empty()) {
        const auto condition = Condition::Parse(options.until);
        if (!condition) {
            Fail(condition.error());
            return Exit::kUsage;
        }
        end.condition = *condition;
        names.push_back(condition->Name());
    }
    const bool live = options.live && !end.condition && context.Fancy();
    ConnectionReporter reporter(live);
    client::Hub::Options hubOptions;
    hubOptions.deadlineMilliseconds = context.TimeoutMilliseconds();
    hubOptions.longestPauseMilliseconds = 1000;
    hubOptions.onConnection = [&reporter](bool connected) { reporter.Report(connected); };
    const auto hub = client::Hub::Connect(*endpoint, hubOptions);
    if (!hub) {
        return Fail(hub.error());
    }
    const auto interest = InterestIn(**hub, names);
    if (!interest) {
        return Fail(interest.error());
    }
    if (end.condition) {
        end.property = interest->ids.back();
    }
    CatchInterrupts();
    client::EventQueue changes;
    const client::Subscription subscription =
        (*hub)->Subscribe(*interest, [report = changes.Callback()](const client::Property& change) {
            if (!client::Owners::IsHeartbeat(change.id)) {
                report(change);
            }
        });
    return live ? ShowTable(changes, reporter) : PrintChanges(changes, context, end);
}

}  // namespace

void AddWatch(CommandLine& line) {
    const auto options = std::make_shared<WatchOptions>();
    line.Add({.name = "watch",
              .summary = "print every change",
              .group = CommandGroup::kReading,
              .examples = "  vantry watch \"Printhead Temperature\" --count 3\n"
                          "  vantry watch --until \"Printhead Temperature > 60\"\n"
                          "  vantry watch --live\n"},
             [options](const Context& context) { return RunWatch(context, *options); })
        .Texts("property", options->names, "what to watch (default: everything)")
        .Flag("--live", options->live, "a table that updates in place")
        .Count("--count", options->count, 1, 1000000000, "end after so many changes")
        .Text("--until", options->until, "end with the value that fulfils this condition");
}

}  // namespace vantry::cli
