// `vantry watch`: changes as lines, or as a table that updates in place.
//
// The client library queues the changes on a thread of its own; the main thread takes them from the
// queue and prints. It waits at most 100 ms at a time, so that it sees an interrupt and, in the
// table, a key soon. The connection is kept up by the library, which reports its loss and its
// return.

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/base/times.h"
#include "cli/select/condition.h"
#include "cli/show/live_table.h"
#include "cli/values/change_lines.h"
#include "cli/values/watch_session.h"

namespace vantry::cli {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLook(100);

struct WatchOptions {
    std::vector<std::string> words;
    bool live = false;
    /// The number of lines after which the command ends; 0 means never.
    int count = 0;
    /// A condition, see Condition; the command ends with the value that fulfils it.
    std::string until;
    /// A duration after which the command ends.
    std::string forTime;
    /// Leaves out the present values.
    bool changesOnly = false;
    /// Prints how many changes a second there are in place of the changes.
    bool rate = false;
    ChangeFormat format;
};

/// When the command ends by itself.
struct End {
    int count = 0;
    std::optional<Condition> condition = {};
    /// The property that the condition is about.
    client::PropertyId property = {};
    std::optional<Clock::time_point> at = {};

    bool IsReachedBy(int printed, const client::Property& change) const {
        return printed == count || (condition && change.id == property && change.available &&
                                    condition->Holds(change.value));
    }
    bool HasPassed() const { return at && Clock::now() >= *at; }
    /// Returns how long to wait for the next change.
    milliseconds Wait() const {
        const auto left = at ? std::chrono::ceil<milliseconds>(*at - Clock::now()) : kLook;
        return std::clamp(left, milliseconds(0), kLook);
    }
    /// Returns the exit status if the time has passed: that of a time-out if a condition or a count
    /// was waited for.
    int StatusAfterTime() const { return condition || count > 0 ? Exit::kTimedOut : Exit::kDone; }
};

int PrintChanges(WatchSession& session, const Context& context, const WatchOptions& options,
                 const End& end) {
    const Style style(context.Fancy());
    DuplicateFilter filter;
    int printed = 0;
    for (Clock::time_point look; !Interrupted() && !end.HasPassed();) {
        if (Clock::now() >= look) {
            session.PrintGoneOwners();
            look = Clock::now() + std::chrono::seconds(1);
        }
        const auto change = session.Take(end.Wait());
        if (!change || !filter.IsNew(*change)) {
            continue;
        }
        const bool isShown = !options.changesOnly || change->origin != client::Origin::Present;
        if (isShown) {
            fmt::print("{}", ChangeLine(options.format, session.Known(), *change,
                                        std::chrono::system_clock::now(), style));
            std::fflush(stdout);
            ++printed;
        }
        if (end.IsReachedBy(isShown ? printed : -1, *change)) {
            return Exit::kDone;
        }
    }
    return end.HasPassed() ? end.StatusAfterTime() : Exit::kDone;
}

/// Prints a line a second with the number of changes in that second and of their properties.
int PrintRates(WatchSession& session, const ChangeFormat& format, const End& end) {
    DuplicateFilter filter;
    int printed = 0;
    for (Clock::time_point next = Clock::now() + std::chrono::seconds(1);
         !Interrupted() && !end.HasPassed() && (end.count == 0 || printed < end.count);
         next += std::chrono::seconds(1)) {
        std::size_t changes = 0;
        std::set<client::PropertyId> properties;
        while (!Interrupted() && !end.HasPassed() && Clock::now() < next) {
            const auto change = session.Take(
                std::min(end.Wait(), std::chrono::ceil<milliseconds>(next - Clock::now())));
            if (change && filter.IsNew(*change) && change->origin != client::Origin::Present) {
                ++changes;
                properties.insert(change->id);
            }
        }
        const auto now = std::chrono::system_clock::now();
        if (format.json) {
            fmt::print("{}\n", OneLine({{"time", FullTime(now)},
                                        {"changesPerSecond", changes},
                                        {"properties", properties.size()}}));
        } else {
            fmt::print("{}  {}/s of {}\n", format.fullTime ? FullTime(now) : TimeOfDay(now),
                       Counted(changes, "change"), Counted(properties.size(), "property"));
        }
        std::fflush(stdout);
        ++printed;
    }
    return Exit::kDone;
}

/// Records what has arrived. Stops after a while even if more arrives, so that the table is drawn
/// and keys are read however much a hub sends.
void RecordArrived(WatchSession& session, LiveTable& table, double seconds) {
    const Clock::time_point end = Clock::now() + kLook;
    while (Clock::now() < end) {
        const auto change = session.Take(milliseconds(0));
        if (!change) {
            return;
        }
        table.Record(*change, seconds);
    }
}

/// Draws again at each change and key, and often enough for the ages of the values.
int ShowTable(WatchSession& session, const Context& context, const End& end) {
    const auto endpoint = context.HubEndpoint();
    Screen screen;
    const Style style(context.Fancy());
    LiveTable table(session.Known());
    const Clock::time_point begin = Clock::now();
    while (!Interrupted() && !end.HasPassed()) {
        const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        RecordArrived(session, table, seconds);
        const LiveState state{session.IsConnected(), endpoint->Name(),
                              TimeOfDay(std::chrono::system_clock::now()).substr(0, 8), seconds};
        fmt::print("{}", table.Draw(TerminalSize::Now(), state, style));
        std::fflush(stdout);
        if (!table.Press(screen.KeyWithin(static_cast<int>(end.Wait().count())))) {
            break;
        }
    }
    return end.HasPassed() ? end.StatusAfterTime() : Exit::kDone;
}

/// Returns when the command ends, except for the property of the condition and the time.
client::Result<End> ParseEnd(const WatchOptions& options) {
    End end;
    end.count = options.count;
    if (!options.until.empty()) {
        const auto condition = Condition::Parse(options.until);
        if (!condition) {
            return condition.error();
        }
        end.condition = *condition;
    }
    return end;
}

int RunWatch(const Context& context, WatchOptions options) {
    options.format.json = context.json;
    auto end = ParseEnd(options);
    if (!end) {
        return FailUsage(end.error().text);
    }
    const auto time = ParseDuration(options.forTime.empty() ? "0" : options.forTime);
    if (!time) {
        return FailUsage(time.error().text);
    }
    if (const client::Outcome good = options.format.Check(); !good) {
        return FailUsage(good.error().text);
    }
    std::vector<std::string> words = options.words;
    if (end->condition) {
        words.push_back(end->condition->Name());
    }
    const bool live = options.live && !end->condition && isatty(STDOUT_FILENO) == 1;
    const auto session = WatchSession::Start(context, words, live);
    if (!session) {
        return Fail(session.error());
    }
    if (end->condition) {
        const auto property = (*session)->Find(end->condition->Name());
        if (!property) {
            return Fail(property.error());
        }
        end->property = property->id;
    }
    CatchInterrupts();
    if (!options.forTime.empty()) {
        end->at = Clock::now() + *time;
    }
    return live           ? ShowTable(**session, context, *end)
           : options.rate ? PrintRates(**session, options.format, *end)
                          : PrintChanges(**session, context, options, *end);
}

}  // namespace

void AddWatch(CommandLine& line) {
    const auto options = std::make_shared<WatchOptions>();
    line.Add({.name = "watch",
              .summary = "print every change",
              .group = CommandGroup::kReading,
              .examples = "  vantry watch \"Printhead Temperature\" --changes --count 3\n"
                          "  vantry watch 'Sensors/*' --for 10s --time\n"
                          "  vantry watch --until \"Printhead Temperature > 60\"\n"
                          "  vantry watch Sensors --format '{time},{name},{value}'\n"
                          "  vantry watch --live\n",
              .topics = "names conditions times"},
             [options](const Context& context) { return RunWatch(context, *options); })
        .Texts("property", options->words, "names, globs or groups (default: everything)")
        .Flag("--live", options->live, "a table that updates in place")
        .Count("--count", options->count, 1, 1000000000, "end after so many lines")
        .Text("--until", options->until, "end with the value that fulfils this condition")
        .Text("--for", options->forTime, "end after this time, such as 10s, 5m or 2h")
        .Flag("--changes", options->changesOnly, "leave out the present values")
        .Flag("--rate", options->rate, "a line a second with the number of changes")
        .Flag("--time", options->format.fullTime, "date and time by RFC 3339")
        .Text("--format", options->format.text,
              "a line with {time} {name} {value} {unit} {component} {group} {origin}")
        .OnSeveral([] { return SeveralOutput::Lines(); });
}

}  // namespace vantry::cli
