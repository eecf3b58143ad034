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
    entry.json.clear();
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
