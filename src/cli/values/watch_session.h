#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/select/catalog.h"
#include "client/event_queue.h"

namespace vantry::cli {

/// The subscription of a command that follows changes until it ends: of `vantry watch` and those
/// like it. Only one thread may use it.
///
/// Names that are those of one property each are a list for the hub. A glob or a group also selects
/// properties that are announced later, so the hub sends everything and the rest is dropped here.
class WatchSession {
public:
    /// Connects, and finds what the words select. Blocks as Catalog::Read does; the context must
    /// outlive the session. An error says which word is a misspelt name; a
    /// glob that matches nothing yet is reported on standard error. A `quiet` session doesn't print
    /// that the connection was lost or is back.
    static client::Result<std::unique_ptr<WatchSession>> Start(
        const Context& context, const std::vector<std::string>& words, bool quiet);

    /// Blocks until a selected property changes, and returns the change, or nothing if there was
    /// none within the time.
    [[nodiscard]] std::optional<client::Property> Take(std::chrono::milliseconds atMost);
    bool IsConnected() const { return *connected; }
    /// Prints whose owners have gone since the last call, see Catalog::PrintGoneOwners. A program
    /// that calls it each second shows an end soon.
    void PrintGoneOwners();
    const Catalog& Known() const { return catalog; }
    /// Returns the property with this name, see FindByName.
    client::Result<client::Property> Find(const std::string& name) const {
        return catalog.Find(name);
    }

private:
    WatchSession(Catalog hub, std::shared_ptr<std::atomic<bool>> state,
                 std::vector<std::string> chosen, bool isMoreSubscribed);

    Catalog catalog;
    const std::shared_ptr<std::atomic<bool>> connected;
    const std::vector<std::string> words;
    /// Whether the hub sends more than the words select.
    const bool hearsMore;
    client::EventQueue changes;
    client::Subscription subscription;
};

}  // namespace vantry::cli
