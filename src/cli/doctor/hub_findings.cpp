// What a hub shows of itself: its values, its TCP port and its clients.
//
// The hub reports in properties of its own that a version or the settings couldn't be read, and the
// heartbeats of components say which of them has ended. The port and the clients come from the
// kernel's lists of sockets, so these are findings about a hub of this machine, and only root sees
// whose a socket is. A client counts as one that doesn't read if much is untaken twice, a second
// apart: one look would also find those that are just receiving a long answer.

#include "cli/doctor/hub_findings.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "cli/base/text.h"
#include "cli/sockets/socket_table.h"
#include "runtime/hub_port.h"

namespace vantry::cli {
namespace {

using client::Property;

/// A client that leaves more than this untaken for a second doesn't read.
constexpr std::uint64_t kMuchUntaken = 32U << 10U;
/// With this option the hub opens no TCP port.
constexpr const char* kNoPort = "65534";

std::string Joined(const std::set<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

void ExamineVersions(const Catalog& catalog, Findings& into) {
    std::set<std::string> unreadable;
    for (const Property& property : catalog.All()) {
        if (property.groupName == "Product Info" && property.value == "Error") {
            unreadable.insert(property.name);
        }
    }
    if (unreadable.empty()) {
        into.AddOk("the versions are known");
        return;
    }
    into.AddNotable(
        "versions read \"Error\"", Joined(unreadable),
        "the hub reads them at its start from windows/version.ini, boot/qtlibs_version.ini "
        "and boot/qtcommon_version.ini below its root: put them there and restart it; "
        "nothing else depends on them");
}

void ExamineLoading(const Catalog& catalog, Findings& into) {
    for (const Property& property : catalog.All()) {
        if (property.id.component == client::Hub::OwnComponent() &&
            property.name == "Property Loading Error" && property.value == "True") {
            into.AddNotable("the hub runs with default settings",
                            "Property Loading Error is True: at its start there was no good "
                            "property file, as in a new installation",
                            "in a new installation nothing: the first change of a setting makes "
                            "the file; otherwise stop the hub, put a copy of VantryProperties.ini "
                            "into Store and start it again");
        }
    }
}

void ExamineOwners(const Catalog& catalog, Findings& into) {
    std::map<std::pair<std::string, std::string>, std::size_t> gone;
    std::size_t alive = 0;
    for (const Property& property : catalog.All()) {
        const client::Owners::State owner = catalog.OwnerOf(property);
        if (owner.presence == client::Owners::Presence::Gone) {
            ++gone[{property.componentName, owner.why}];
        }
        alive += owner.presence == client::Owners::Presence::Alive ? 1 : 0;
    }
    for (const auto& [who, count] : gone) {
        into.AddWrong(
            "the program of " + Printable(who.first) + " is gone",
            fmt::format("{}; the last values of {} stay", who.second, Counted(count, "property")),
            "start it again; until then its values are old and writes to them are lost");
    }
    if (gone.empty()) {
        into.AddOk("no owner is gone", fmt::format("the owner of {} of {} is known to run", alive,
                                                   Counted(catalog.All().size(), "property")));
    }
}

/// Returns what listens at the port, for a sentence.
std::string ListenerAt(std::uint16_t port) {
    const auto other = ReadHubSockets(port);
    if (!other) {
        return "no program listens at port " + std::to_string(port);
    }
    return fmt::format(
        "port {} is taken by {}", port,
        other->process ? fmt::format("process {}: {}", other->process->id, other->process->command)
                       : "a program of another user");
}

std::string NameOf(const Connection& connection) {
    return connection.process           ? fmt::format("process {} ({})", connection.process->id,
                                                      Printable(connection.process->command))
           : connection.address.empty() ? std::string("a program of another user")
                                        : connection.address;
}

/// Returns the clients that leave much untaken, and how many bytes, by their names.
std::map<std::string, std::uint64_t> SlowClients(const HubSockets& hub) {
    std::map<std::string, std::uint64_t> slow;
    for (const Connection& connection : hub.connections) {
        if (connection.untakenBytes > kMuchUntaken) {
            slow[NameOf(connection)] += connection.untakenBytes;
        }
    }
    return slow;
}

}  // namespace

void ExamineProperties(const Catalog& catalog, Findings& into) {
    ExamineVersions(catalog, into);
    ExamineLoading(catalog, into);
    ExamineOwners(catalog, into);
}

void ExaminePort(const HubSockets& hub, const std::optional<HubProcess>& process, Findings& into) {
    if (hub.port) {
        into.AddOk("the hub listens at TCP port " + std::to_string(*hub.port));
        return;
    }
    if (!process) {
        into.AddOk("the TCP port wasn't looked at", "this user can't look into the hub's process");
        return;
    }
    const std::string wanted = process->Option("--port").value_or(std::to_string(kHubPort));
    if (wanted == kNoPort) {
        into.AddOk("the hub opens no TCP port", "it runs with --port " + wanted);
        return;
    }
    into.AddWrong("the hub has no TCP port",
                  ListenerAt(static_cast<std::uint16_t>(std::atoi(wanted.c_str()))),
                  "end what has the port, or give the hub another one in /etc/default/vantry: "
                  "VANTRYD_OPTIONS=\"--port 9103\"; then systemctl restart vantryd");
}

void ExamineClients(const HubSockets& hub, const std::function<client::Result<HubSockets>()>& read,
                    Findings& into) {
    std::map<std::string, std::uint64_t> slow = SlowClients(hub);
    if (!slow.empty()) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const auto later = read();
        const auto still = later ? SlowClients(*later) : slow;
        std::erase_if(slow, [&](const auto& entry) { return still.count(entry.first) == 0; });
    }
    for (const auto& [name, bytes] : slow) {
        into.AddWrong("a client doesn't read",
                      fmt::format("{} leaves {} untaken", name, SizeText(bytes)),
                      "find out why it hangs, or end it; the hub closes it when more than it holds "
                      "for one client is waiting");
    }
    if (slow.empty()) {
        into.AddOk("every client reads", Counted(hub.connections.size(), "connection"));
    }
}

}  // namespace vantry::cli
