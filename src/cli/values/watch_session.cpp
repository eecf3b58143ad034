// A subscription for `watch`. Single properties are subscribed by a list. As soon as a glob or a
// group is among the words, everything is subscribed and filtered here, because the hub has no
// globs and properties that match may be announced later.

#include "cli/values/watch_session.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>
#include <utility>

#include "cli/select/property_names.h"

namespace vantry::cli {
namespace {

using client::Property;

/// Returns options with a function that keeps the state of the connection and prints its changes.
client::Hub::Options OptionsWith(bool quiet, const std::shared_ptr<std::atomic<bool>>& connected) {
    client::Hub::Options options;
    options.longestPauseMilliseconds = 1000;
    options.onConnection = [connected, quiet](bool isConnected) {
        if (connected->exchange(isConnected) != isConnected && !quiet) {
            fmt::print(stderr, "vantry: {}\n",
                       isConnected ? "connected again" : "connection lost, trying again");
        }
    };
    return options;
}

/// Returns the identities of the heartbeats; none if the hub doesn't answer.
std::vector<client::PropertyId> HeartbeatsOf(client::Hub& hub) {
    std::vector<client::PropertyId> ids;
    if (const auto heartbeats = hub.ReadGroup(client::Owners::HeartbeatGroup())) {
        for (const Property& heartbeat : *heartbeats) {
            ids.push_back(heartbeat.id);
        }
    }
    return ids;
}

bool IsOneProperty(const Catalog& catalog, const std::string& word) {
    return static_cast<bool>(catalog.Find(word));
}

}  // namespace

client::Result<std::unique_ptr<WatchSession>> WatchSession::Start(
    const Context& context, const std::vector<std::string>& words, bool quiet) {
    const auto connected = std::make_shared<std::atomic<bool>>(true);
    auto seen = context.ConnectAndReadAll(OptionsWith(quiet, connected));
    if (!seen) {
        return seen.error();
    }
    Catalog catalog(context, std::move(*seen));
    for (const std::string& word : words) {
        const auto selected = catalog.Select({word});
        if (!selected && !IsGlob(word)) {
            return selected.error();
        }
        if (!selected) {
            fmt::print(stderr, "vantry: nothing matches \"{}\" yet; waiting\n", word);
        }
    }
    const bool isList =
        !words.empty() && std::all_of(words.begin(), words.end(), [&](const std::string& word) {
            return IsOneProperty(catalog, word);
        });
    // Without the heartbeats every owner would seem to have become silent.
    std::vector<client::PropertyId> ids =
        isList ? HeartbeatsOf(catalog.Hub()) : std::vector<client::PropertyId>();
    for (const std::string& word : isList ? words : std::vector<std::string>()) {
        ids.push_back(catalog.Find(word)->id);
    }
    std::unique_ptr<WatchSession> session(
        new WatchSession(std::move(catalog), connected, words, !isList && !words.empty()));
    session->subscription = session->catalog.Hub().Subscribe(
        isList ? client::Interest::List(ids) : client::Interest::Everything(),
        session->changes.Callback());
    return session;
}

WatchSession::WatchSession(Catalog hub, std::shared_ptr<std::atomic<bool>> state,
                           std::vector<std::string> chosen, bool isMoreSubscribed)
    : catalog(std::move(hub)),
      connected(std::move(state)),
      words(std::move(chosen)),
      hearsMore(isMoreSubscribed) {}

void WatchSession::PrintGoneOwners() {
    const std::vector<client::PropertyId> changed = catalog.Owners().TakeChanges();
    const std::set<client::PropertyId> ids(changed.begin(), changed.end());
    std::vector<Property> watched;
    for (const Property& property : catalog.All()) {
        if (ids.count(property.id) != 0 && (words.empty() || SelectByName({property}, words))) {
            watched.push_back(property);
        }
    }
    catalog.PrintGoneOwners(watched);
}

std::optional<Property> WatchSession::Take(std::chrono::milliseconds atMost) {
    const auto deadline = std::chrono::steady_clock::now() + atMost;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        auto change = changes.Take(std::max(left, std::chrono::milliseconds(0)));
        if (!change) {
            return std::nullopt;
        }
        catalog.Owners().Take(*change);
        if (client::Owners::IsHeartbeat(change->id)) {
            continue;
        }
        catalog.ShownNames().Add(*change);
        if (!hearsMore || SelectByName({*change}, words)) {
            return change;
        }
    }
}

}  // namespace vantry::cli
