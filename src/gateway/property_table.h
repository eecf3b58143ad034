#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "client/owners.h"
#include "describe/descriptions.h"
#include "gateway/change_ring.h"
#include "gateway/inbox.h"
#include "gateway/property_json.h"
#include "gateway/write_rules.h"

namespace vantry::gateway {

/// Every property that the gateway knows, and the last events. A withdrawn property stays for those
/// who ask, marked as not available; beyond 1,000 of them the one that was withdrawn first is
/// forgotten. Used by the thread of the server only.
class PropertyTable {
public:
    struct Entry {
        KnownProperty known;
        /// The number of the event that reported the present state.
        std::uint64_t lastEvent = 0;
        /// The property as JSON; empty until somebody asks for it.
        mutable std::string json;

        /// Returns the property as JSON.
        const std::string& Json() const;
    };
    using Entries = std::map<client::PropertyId, Entry>;

    /// `instance` is the start of the ids of events.
    PropertyTable(describe::Descriptions describing, WriteRules rules, std::string instance)
        : descriptions(std::move(describing)),
          writeRules(std::move(rules)),
          ring(std::move(instance)) {}

    /// Takes a change of the hub. Returns whether it made an event: the hub publishes n changes of
    /// a property within a period as n equal records with the last value, of which only the first
    /// one makes an event.
    bool Take(const Arrival& arrival);
    /// Adds an event that reports the state of the connection to the hub.
    void AddHubEvent(const std::string& data) { ring.Add(std::nullopt, "hub", data); }

    /// Makes events of owners that have ended or come back. Called once a second. Returns whether
    /// there are any.
    bool LookAtOwners();

    const Entries& All() const { return entries; }
    /// Returns a property, or nothing.
    const Entry* Find(const client::PropertyId& id) const;
    const ChangeRing& Ring() const { return ring; }
    /// Returns what is known of the program that owns a property.
    client::Owners::State OwnerOf(const client::PropertyId& id) const { return owners.Of(id); }
    /// Returns the number of properties that are available.
    std::size_t Available() const { return entries.size() - withdrawn; }

private:
    void Describe(KnownProperty& known) const;
    void NoteOwner(Entry& entry) const;
    void NoteHeartbeat(const std::string& component);
    void NoteWithdrawal(const client::PropertyId& id, std::uint64_t event);

    const describe::Descriptions descriptions;
    const WriteRules writeRules;
    client::Owners owners;
    Entries entries;
    ChangeRing ring;
    /// The number of entries that aren't available.
    std::size_t withdrawn = 0;
    /// Withdrawals, oldest first, with their events. A property that came back is among them too.
    std::deque<std::pair<client::PropertyId, std::uint64_t>> withdrawals;
};

}  // namespace vantry::gateway
