// The retained messages "health" and "state" of the plain style, as docs/BRIDGE.md describes them.
//
// The health says nearly everything. Its last will was written when the bridge connected, so it
// can't report when a printer was disconnected: the state, which follows each change and comes each
// hour, says when the newest news are from. A state is scanned for its time and versions and isn't
// kept, so memory grows with the number of printers and not with what they publish.

#include "fleet/roster.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <optional>

namespace vantry::fleet {
namespace {

using Json = nlohmann::json;

constexpr const char* kPrefix = "vantry/v1/";

/// Returns site, serial number and kind of message.
std::optional<std::array<std::string, 3>> LevelsOf(const std::string& topic) {
    std::array<std::string, 3> levels;
    std::size_t begin = std::string(kPrefix).size();
    if (!topic.starts_with(kPrefix)) {
        return std::nullopt;
    }
    for (std::string& level : levels) {
        const std::size_t end = std::min(topic.find('/', begin), topic.size());
        level = topic.substr(begin, end - begin);
        begin = std::min(end + 1, topic.size());
        if (level.empty()) {
            return std::nullopt;
        }
    }
    return begin == topic.size() ? std::optional(levels) : std::nullopt;
}

/// A last will has no versions, so the state has them as well.
void TakeVersions(const Json& document, Printer& printer) {
    const Json versions = document.value("versions", Json::object());
    printer.bridge = versions.value("bridge", printer.bridge);
    printer.firmware = versions.value("firmware", printer.firmware);
}

void TakeHealth(const Json& health, Printer& printer) {
    const auto number = [&](const char* name) { return health.value(name, std::int64_t{0}); };
    printer.isOnline = health.at("online").get<bool>();
    printer.hasHub = health.value("hub", false);
    printer.since = number("since");
    // A last will has no time: it was written when the connection was made.
    printer.news = std::max({printer.news, printer.since, number("time")});
    printer.dropped = health.value("dropped", std::uint64_t{0});
    printer.waiting = health.value("waiting", std::uint64_t{0});
    TakeVersions(health, printer);
    printer.errors = health.value("errors", std::vector<std::string>());
}

void TakeState(const std::string& payload, Printer& printer) {
    // What the outermost object has besides these two isn't even built.
    const Json state = Json::parse(payload, [](int depth, Json::parse_event_t event, Json& parsed) {
        return depth != 1 || event != Json::parse_event_t::key || parsed == "time" ||
               parsed == "versions";
    });
    printer.news = std::max(printer.news, state.at("time").get<std::int64_t>());
    TakeVersions(state, printer);
}

}  // namespace

const char* Printer::State() const {
    if (!isOnline) {
        return "offline";
    }
    return hasHub ? "online" : "no hub";
}

std::vector<std::string> Roster::Topics(const std::vector<std::string>& sites) {
    std::vector<std::string> topics;
    for (const std::string& site : sites.empty() ? std::vector<std::string>{"+"} : sites) {
        topics.push_back(kPrefix + site + "/+/health");
        topics.push_back(kPrefix + site + "/+/state");
    }
    return topics;
}

void Roster::Take(const std::string& topic, const std::string& payload) {
    const auto levels = LevelsOf(topic);
    if (!levels || ((*levels)[2] != "health" && (*levels)[2] != "state")) {
        ++unreadable;
        return;
    }
    const auto& [site, serial, kind] = *levels;
    // An empty message removes what was retained.
    if (payload.empty()) {
        printers.erase({site, serial});
        return;
    }
    const auto found = printers.find({site, serial});
    Printer printer = found == printers.end() ? Printer{site, serial} : found->second;
    try {
        if (kind == "health") {
            TakeHealth(Json::parse(payload), printer);
        } else {
            TakeState(payload, printer);
        }
    } catch (const Json::exception&) {
        ++unreadable;
        return;
    }
    printers[{site, serial}] = std::move(printer);
}

std::vector<Printer> Roster::All() const {
    std::vector<Printer> all;
    for (const auto& [name, printer] : printers) {
        all.push_back(printer);
    }
    return all;
}

}  // namespace vantry::fleet
