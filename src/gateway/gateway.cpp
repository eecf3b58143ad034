// The parts of the gateway and how they are connected.
//
// Changes arrive on the thread of the client library, which puts them into an inbox and wakes the
// server when the inbox was empty. The server takes all of them at once, enters them into the
// table, and lets the streams go on. So a burst of the hub is one wake-up and, for each reader, one
// write.
//
// The file of the tokens is looked at once a second. A wrong one leaves the tokens as they are, so
// that a mistake neither locks everybody out nor lets anybody in.

#include "gateway/gateway.h"

#include <chrono>
#include <cstdio>
#include <utility>

#include "runtime/service_notify.h"

namespace vantry::gateway {
namespace {

describe::Descriptions LoadDescriptions() {
    auto loaded = describe::Descriptions::Load(describe::Descriptions::StandardFolders());
    for (const std::string& problem : loaded.problems) {
        std::fprintf(stderr, "vantry-gateway: %s\n", problem.c_str());
    }
    return std::move(loaded.descriptions);
}

/// Returns a text that no other run of the program has.
std::string NewInstance() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace

Gateway::Gateway(const Options& options)
    : tokenFile(options.tokenFile),
      tokenFiles({tokenFile}),
      access(options.tokens, options.names),
      table(LoadDescriptions(), WriteRules(options.allowWrite), NewInstance()),
      server(options.server, *this, statistics),
      hub(options.hub, [this] { WakeServer(); }),
      writers(hub),
      history(options.history),
      api({.access = access,
           .table = table,
           .hub = hub,
           .writers = writers,
           .history = history,
           .statistics = statistics,
           .post = [this](std::function<void()> function) { server.Post(std::move(function)); },
           .allowsWrites = !options.allowWrite.empty()}) {}

Gateway::~Gateway() {
    history.Stop();
    writers.Stop();
    hub.Stop();
}

client::Outcome Gateway::Start() {
    if (client::Outcome listening = server.Listen(); !listening) {
        return listening;
    }
    if (client::Outcome started = writers.Start(); !started) {
        return started;
    }
    if (client::Outcome started = history.Start(); !started) {
        return started;
    }
    return hub.Start();
}

void Gateway::Run() {
    server.Run();
    NotifyServiceManager("STOPPING=1");
}

std::optional<Response> Gateway::Refusal(const Request& request) { return api.Refusal(request); }

void Gateway::Handle(Request request, Reply reply) { api.Handle(request, std::move(reply)); }

void Gateway::Tick() {
    if (table.LookAtOwners()) {
        server.WakeStreams();
    }
    RenewTokens();
    ReportToServiceManager();
}

void Gateway::WakeServer() {
    server.Post([this] { TakeNews(); });
}

void Gateway::TakeNews() {
    ReportHub();
    for (const Arrival& arrival : hub.TakeChanges()) {
        ++statistics.changesReceived;
        statistics.eventsMade += table.Take(arrival) ? 1 : 0;
    }
    server.WakeStreams();
}

void Gateway::ReportHub() {
    if (std::string text = HubJson(hub.Now()); text != toldOfHub) {
        table.AddHubEvent(text);
        toldOfHub = std::move(text);
    }
}

void Gateway::RenewTokens() {
    if (tokenFile.empty() || !tokenFiles.HaveChanged()) {
        return;
    }
    auto renewed = Tokens::Load(tokenFile);
    if (!renewed) {
        std::fprintf(stderr, "vantry-gateway: %s; the tokens before stay in use\n",
                     renewed.error().text.c_str());
        return;
    }
    access.SetTokens(std::move(*renewed));
    // Streams were admitted with the tokens before. Their readers come back, if they may.
    server.CloseStreams();
}

void Gateway::ReportToServiceManager() {
    const HubLink::State now = hub.Now();
    std::string status = "STATUS=" + std::string(now.isConnected ? "connected to " : "no hub at ") +
                         now.endpoint + ", " + std::to_string(table.Available()) + " properties, " +
                         std::to_string(statistics.streams) + " readers";
    // The watchdog gets its message each second, the status when it is new.
    NotifyServiceManager(status == toldServiceManager ? "WATCHDOG=1" : "WATCHDOG=1\n" + status);
    toldServiceManager = std::move(status);
}

}  // namespace vantry::gateway
