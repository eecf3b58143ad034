// What the gateway knows of the hub's properties, with an event for each change. The JSON of a
// property is made when it is first asked for and kept until the property changes. A change whose
// names are known already becomes a short event without them, which is what makes a stream of many
// changes small.

#include "gateway/property_table.h"

namespace vantry::gateway {
namespace {

constexpr std::size_t kMostWithdrawn = 1'000;

bool HaveSameNames(const client::Property& one, const client::Property& other) {
    return one.name == other.name && one.groupName == other.groupName &&
           one.componentName == other.componentName;
}

}  // namespace

const std::string& PropertyTable::Entry::Json() const {
    if (json.empty()) {
        json = ToJson(known);
    }
    return json;
}

bool PropertyTable::Take(const Arrival& arrival) {
    const client::Property& change = arrival.change;
    owners.Take(change);
    if (client::Owners::IsHeartbeat(change.id)) {
        NoteHeartbeat(change.id.component);
    }
    const auto [place, isNew] = entries.try_emplace(change.id);
    Entry& entry = place->second;
    client::Property& before = entry.known.property;
    const bool hasOtherNames = isNew || !HaveSameNames(before, change);
    const bool wasAvailable = isNew || before.available;
    if (!hasOtherNames && before.value == change.value && before.available == change.available) {
        return false;
    }
    before = change;
    entry.known.time = arrival.time;
    NoteOwner(entry);
    if (hasOtherNames) {
        Describe(entry.known);
    }
    entry.lastEvent = hasOtherNames ? ring.Add(change.id, "property", ToJson(entry.known))
                                    : ring.Add(change.id, "change", ChangeToJson(entry.known));
    if (change.available && !wasAvailable) {
        --withdrawn;
    } else if (!change.available && wasAvailable) {
        NoteWithdrawal(change.id, entry.lastEvent);
    }
    return true;
}

bool PropertyTable::LookAtOwners() {
    bool hasNews = false;
    for (const client::PropertyId& id : owners.TakeChanges()) {
        if (const auto place = entries.find(id); place != entries.end()) {
            Entry& entry = place->second;
            NoteOwner(entry);
            entry.lastEvent = ring.Add(id, "owner", OwnerToJson(entry.known));
            hasNews = true;
        }
    }
    return hasNews;
}

void PropertyTable::NoteOwner(Entry& entry) const {
    KnownProperty& known = entry.known;
    known.owner = owners.Of(known.property.id);
    if (const auto age = owners.AgeOf(known.property.id)) {
        known.since =
            std::chrono::system_clock::now() - std::chrono::milliseconds(age->milliseconds);
        known.isSinceExact = !age->isAtLeast;
    }
    entry.json.clear();
}

void PropertyTable::NoteHeartbeat(const std::string& component) {
    // It may say that values are older or younger than they seemed when they arrived.
    for (auto next = entries.lower_bound({component, "", ""});
         next != entries.end() && next->first.component == component; ++next) {
        NoteOwner(next->second);
    }
}

const PropertyTable::Entry* PropertyTable::Find(const client::PropertyId& id) const {
    const auto found = entries.find(id);
    return found == entries.end() ? nullptr : &found->second;
}

void PropertyTable::Describe(KnownProperty& known) const {
    known.description = descriptions.Of(known.property);
    known.isSettable =
        writeRules.Allow(known.property) && known.description.writable.value_or(true);
}

void PropertyTable::NoteWithdrawal(const client::PropertyId& id, std::uint64_t event) {
    ++withdrawn;
    withdrawals.emplace_back(id, event);
    while (withdrawals.size() > kMostWithdrawn) {
        const auto oldest = entries.find(withdrawals.front().first);
        // One that came back, or was withdrawn again later, isn't the oldest any more.
        if (oldest != entries.end() && !oldest->second.known.property.available &&
            oldest->second.lastEvent == withdrawals.front().second) {
            entries.erase(oldest);
            --withdrawn;
        }
        withdrawals.pop_front();
    }
}

}  // namespace vantry::gateway
