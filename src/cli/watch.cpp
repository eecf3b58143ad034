#include <fmt/chrono.h>
#include <fmt/core.h>

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <utility>

#include "cli/commands.h"
#include "cli/live_table.h"
#include "cli/property_names.h"
#include "cli/terminal.h"
#include "cli/text.h"
#include "client/event_queue.h"

namespace vantry::cli {
namespace {

constexpr std::chrono::milliseconds kLook(100);

std::string TimeNow() {
    const auto now = std::chrono::system_clock::now();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    return fmt::format("{:%H:%M:%S}.{:03}",
                       fmt::localtime(std::chrono::system_clock::to_time_t(now)), milliseconds);
}

/// Tells of each loss and return of the connection, on standard error.
class ConnectionTeller {
public:
    explicit ConnectionTeller(bool quietly) : quiet(quietly) {}

    void Say(bool isConnected) {
        const bool before = connected.exchange(isConnected);
        if (!quiet && before != isConnected) {
            fmt::print(stderr, "vantry: {}\n",
                       isConnected ? "connected again" : "the hub is gone, trying again");
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

/// Whether a change says something new. A property that changes several times in a period is told
/// of as often, with its latest value each time.
class News {
public:
    bool Is(const client::Property& change) {
        std::string told = (change.available ? "+" : "-") + change.value;
        std::string& before = last[change.id];
        const bool isNew = before != told;
        before = std::move(told);
        return isNew;
    }

private:
    std::map<client::PropertyId, std::string> last;
};

int PrintChanges(client::EventQueue& changes, const Context& context, int count) {
    const Style style(context.Fancy());
    News news;
    for (int printed = 0; !Interrupted() && (count == 0 || printed < count);) {
        if (const auto change = changes.Take(kLook); change && news.Is(*change)) {
            PrintChange(*change, context, style);
            ++printed;
        }
    }
    return Exit::kDone;
}

int ShowTable(client::EventQueue& changes, const ConnectionTeller& teller) {
    const Screen screen;
    const Style style(true);
    LiveTable table;
    while (!Interrupted()) {
        while (const auto change = changes.Take(std::chrono::milliseconds(0))) {
            table.Take(*change);
        }
        fmt::print("{}", table.Draw(TerminalSize::Now(), teller.Connected(), TimeNow(), style));
        std::fflush(stdout);
        const char key = Screen::KeyWithin(static_cast<int>(kLook.count()));
        if (key == 'q') {
            break;
        }
        table.ScrollBy(key == 'j' ? 1 : key == 'k' ? -1 : 0);
    }
    return Exit::kDone;
}

}  // namespace

int RunWatch(const Context& context, const WatchOptions& options) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    const bool live = options.live && context.Fancy();
    ConnectionTeller teller(live);
    client::Hub::Options hubOptions;
    hubOptions.deadlineMilliseconds = context.TimeoutMilliseconds();
    hubOptions.longestPauseMilliseconds = 1000;
    hubOptions.onConnection = [&teller](bool connected) { teller.Say(connected); };
    const auto hub = client::Hub::Connect(*endpoint, hubOptions);
    if (!hub) {
        return Fail(hub.error());
    }
    const auto interest = InterestIn(**hub, options.names);
    if (!interest) {
        return Fail(interest.error());
    }
    CatchInterrupts();
    client::EventQueue changes;
    const client::Subscription subscription = (*hub)->Subscribe(*interest, changes.Callback());
    return live ? ShowTable(changes, teller) : PrintChanges(changes, context, options.count);
}

}  // namespace vantry::cli
