// `vantry clients`: who is connected to the hub of this machine. Everything comes from the kernel,
// so the hub isn't asked, and the command works beside a hub that hangs.

#include <fmt/core.h>

#include <memory>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/table.h"
#include "cli/base/text.h"
#include "cli/base/times.h"
#include "cli/sockets/connections.h"

namespace vantry::cli {
namespace {

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

Json ToJson(const Connection& connection) {
    const auto& process = connection.process;
    return {{"link", connection.link},
            {"address", connection.address.empty() ? Json() : Json(connection.address)},
            {"process", process ? Json(process->id) : Json()},
            {"command", process ? Json(process->command) : Json()},
            {"user", connection.user ? Json(UserName(*connection.user)) : Json()},
            {"untakenBytes", connection.untakenBytes},
            {"sentBytes", OrNull(connection.sentBytes)},
            {"receivedBytes", OrNull(connection.receivedBytes)},
            {"idleSeconds",
             connection.idleMilliseconds ? Json(*connection.idleMilliseconds / 1000.0) : Json()}};
}

std::string SizeOrBlank(const std::optional<std::uint64_t>& bytes) {
    return bytes ? SizeText(*bytes) : "";
}

Table TableOf(const std::vector<Connection>& connections) {
    Table table(
        {"link", "process", "user", "address", "untaken", "idle", "sent", "received", "program"});
    for (const Connection& connection : connections) {
        const auto& idle = connection.idleMilliseconds;
        table.Add({connection.link,
                   connection.process ? std::to_string(connection.process->id) : "",
                   connection.user ? UserName(*connection.user) : "", connection.address,
                   SizeText(connection.untakenBytes),
                   idle ? ShortDuration(std::chrono::milliseconds(*idle)) : "",
                   SizeOrBlank(connection.sentBytes), SizeOrBlank(connection.receivedBytes),
                   connection.process ? connection.process->command : ""});
    }
    return table;
}

void Print(const HubSockets& hub, const Context& context) {
    if (context.json) {
        Json array = Json::array();
        for (const Connection& connection : hub.connections) {
            array.push_back(ToJson(connection));
        }
        fmt::print("{}\n", LineByLine(array));
        return;
    }
    if (hub.connections.empty()) {
        fmt::print("no client is connected\n");
        return;
    }
    fmt::print(
        "{}",
        TableOf(hub.connections).Text(Style(context.Fancy()), 48, TerminalSize::ColumnsOfOutput()));
}

/// Reads the sockets of the hub that the options name.
client::Result<HubSockets> Read(const Context& context, int port) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return endpoint.error();
    }
    if (endpoint->path.empty()) {
        if (endpoint->host != "localhost" && !endpoint->host.starts_with("127.")) {
            return client::Error{client::ErrorCode::Refused,
                                 "the kernel knows the connections of this machine only; run "
                                 "\"vantry clients\" on " +
                                     endpoint->host};
        }
        return ReadHubSockets(endpoint->port);
    }
    auto hub = ReadHubSockets(std::filesystem::path(endpoint->path));
    if (hub && port != 0) {
        std::erase_if(hub->connections,
                      [](const Connection& connection) { return !connection.address.empty(); });
        hub->port = static_cast<std::uint16_t>(port);
        if (auto tcp = ReadHubSockets(*hub->port)) {
            hub->connections.insert(hub->connections.end(), tcp->connections.begin(),
                                    tcp->connections.end());
        }
    }
    return hub;
}

int RunClients(const Context& context, int port) {
    const auto hub = Read(context, port);
    if (!hub) {
        const bool isAbsent = hub.error().code == client::ErrorCode::NoConnection;
        return Fail({hub.error().code,
                     hub.error().text + (isAbsent ? "; \"vantry doctor\" finds out why" : "")});
    }
    Print(*hub, context);
    if (!hub->port) {
        fmt::print(stderr,
                   "vantry: the hub's TCP port isn't known to this user, so its clients over TCP "
                   "aren't shown; --port tells it\n");
    }
    return Exit::kDone;
}

}  // namespace

void AddClients(CommandLine& line) {
    const auto port = std::make_shared<int>(0);
    line.Add({.name = "clients",
              .summary = "who is connected, and who doesn't read",
              .group = CommandGroup::kFindingOut,
              .examples = "  vantry clients\n"
                          "  vantry --json clients | jq '.[] | select(.untakenBytes > 100000)'\n",
              .topics = "faults"},
             [port](const Context& context) { return RunClients(context, *port); })
        .Count("--port", *port, 1, 65535, "the hub's TCP port, if it isn't found");
}

}  // namespace vantry::cli
