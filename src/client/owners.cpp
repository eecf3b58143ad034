// What follows from heartbeats and changes about owners and ages.
//
// A heartbeat lists the properties of its program, so the program that owns a property is found by
// looking it up in the heartbeats of its component. Three cases are distinguished. In the same run
// of the machine, times are compared directly. If the process id is also valid here, the process
// decides. From another machine, only the times at which heartbeats arrived here count.
//
// The age of a value is the time since the later of two events: the setting that the heartbeat
// states, and a publication that this program received.

#include "client/owners.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "client/heartbeat.h"
#include "runtime/lock.h"
#include "wire/vocabulary/components.h"

namespace vantry::client {
namespace {

constexpr std::uint64_t kBetweenLooks = 1000;
/// A program that hasn't sent a heartbeat for this many intervals is silent.
constexpr std::uint64_t kIntervalsBeforeSilence = 3;

/// A heartbeat and the time of its arrival.
struct Beat {
    Heartbeat heartbeat;
    std::string text;
    std::uint64_t arrivedAt = 0;
    /// Whether this isn't the first one of its program that arrived here, so that the time of the
    /// arrival is that of the heartbeat.
    bool isRenewed = false;
    Owners::Presence reported = Owners::Presence::Unknown;
    // The last look at the process.
    std::uint64_t lookedAt = 0;
    bool ran = false;
};

/// The last value of a property. Its hash is kept, because a value may be long.
struct Value {
    std::size_t hash = 0;
    std::uint64_t since = 0;
    /// Whether the hub has published it while this program listened.
    bool wasHeard = false;
};

std::string InWords(std::uint64_t milliseconds) {
    struct Unit {
        std::uint64_t milliseconds;
        const char* name;
    };
    for (const Unit unit : {Unit{86'400'000, " d"}, {3'600'000, " h"}, {60'000, " min"}}) {
        if (milliseconds >= 2 * unit.milliseconds) {
            return std::to_string(milliseconds / unit.milliseconds) + unit.name;
        }
    }
    return milliseconds < 1000 ? std::to_string(milliseconds) + " ms"
                               : std::to_string(milliseconds / 1000) + " s";
}

}  // namespace

class Owners::Knowledge {
public:
    Knowledge() : here(Heartbeat::OfThisProcess()) {}

    void Take(const Property& property) {
        ScopedLock guard(lock);
        if (IsHeartbeat(property.id)) {
            TakeHeartbeat(property);
        } else if (property.available) {
            TakeValue(property);
        } else {
            values.erase(property.id);
        }
    }

    State Of(const PropertyId& id) {
        if (id.component == Components::kVantry.guid) {
            return {Presence::Alive, "the hub owns it", 0, ""};
        }
        ScopedLock guard(lock);
        State best{Presence::Unknown, "its component keeps no heartbeat", 0, ""};
        for (const Listing& listing : ListingsOf(id)) {
            State state = StateOf(listing.beat);
            const bool isBetter =
                state.presence == Presence::Alive || best.presence == Presence::Unknown;
            if (isBetter && best.presence != Presence::Alive) {
                best = std::move(state);
            }
        }
        return best;
    }

    std::optional<Age> AgeOf(const PropertyId& id) {
        ScopedLock guard(lock);
        const auto value = values.find(id);
        if (value == values.end()) {
            return std::nullopt;
        }
        const std::uint64_t now = MachineMilliseconds();
        std::uint64_t latest = value->second.wasHeard ? value->second.since : 0;
        for (const Listing& listing : ListingsOf(id)) {
            latest = std::max(latest, TimeHere(listing));
        }
        const bool isKnown = latest != 0;
        latest = isKnown ? latest : value->second.since;
        return Age{now - std::min(now, latest), !isKnown};
    }

    std::vector<PropertyId> TakeChanges() {
        ScopedLock guard(lock);
        std::set<PropertyId> changed = std::exchange(withdrawn, {});
        for (auto& [id, beat] : beats) {
            const Presence now = StateOf(beat).presence;
            if (std::exchange(beat.reported, now) != now) {
                AddProperties(id, beat.heartbeat, changed);
            }
        }
        return {changed.begin(), changed.end()};
    }

private:
    /// A heartbeat that lists a property, and the time at which it says that it was set.
    struct Listing {
        Beat& beat;
        std::uint64_t changed;
    };

    static void AddProperties(const PropertyId& heartbeat, const Heartbeat& beat,
                              std::set<PropertyId>& properties) {
        for (const auto& [group, members] : beat.changed) {
            for (const auto& [property, at] : members) {
                properties.insert({heartbeat.component, group, property});
            }
        }
    }

    void TakeHeartbeat(const Property& property) REQUIRES(lock) {
        const auto found = beats.find(property.id);
        if (found != beats.end() && property.available && found->second.text == property.value) {
            return;
        }
        Beat next;
        if (found != beats.end()) {
            next.isRenewed = property.available;
            next.reported = found->second.reported;
        }
        const Result<Heartbeat> parsed = Heartbeat::Parse(property.value);
        if (!property.available || !parsed) {
            if (found != beats.end()) {
                AddProperties(property.id, found->second.heartbeat, withdrawn);
                beats.erase(found);
            }
            return;
        }
        next.heartbeat = *parsed;
        next.text = property.value;
        next.arrivedAt = MachineMilliseconds();
        beats.insert_or_assign(property.id, std::move(next));
    }

    void TakeValue(const Property& property) REQUIRES(lock) {
        const std::size_t hash = std::hash<std::string>()(property.value);
        const bool isHeard = property.origin == Origin::Change;
        const auto [entry, isNew] = values.try_emplace(property.id);
        if (isNew || isHeard || entry->second.hash != hash) {
            entry->second = {hash, MachineMilliseconds(), isHeard};
        }
    }

    bool IsOfThisRun(const Beat& beat) const {
        return !here.boot.empty() && beat.heartbeat.boot == here.boot;
    }

    bool Runs(Beat& beat, std::uint64_t now) REQUIRES(lock) {
        if (beat.lookedAt == 0 || now - beat.lookedAt >= kBetweenLooks) {
            beat.lookedAt = now;
            beat.ran = IsRunning(beat.heartbeat.process, beat.heartbeat.started);
        }
        return beat.ran;
    }

    State StateOf(Beat& beat) REQUIRES(lock) {
        const Heartbeat& heartbeat = beat.heartbeat;
        const std::uint64_t now = MachineMilliseconds();
        const std::string who =
            "process " + std::to_string(heartbeat.process) + " on " + heartbeat.host;
        const auto state = [&](Presence presence, const std::string& what) {
            return State{presence, who + what, heartbeat.process, heartbeat.host};
        };
        if (heartbeat.hasEnded) {
            return state(Presence::Gone, " has left the hub");
        }
        const bool isLocal = IsOfThisRun(beat) && heartbeat.processes == here.processes;
        if (isLocal && !Runs(beat, now)) {
            return state(Presence::Gone, " has ended");
        }
        const std::uint64_t last = IsOfThisRun(beat) ? heartbeat.clock : beat.arrivedAt;
        const std::uint64_t silent = now - std::min(now, last);
        if (silent > kIntervalsBeforeSilence * heartbeat.interval + kBetweenLooks) {
            return state(isLocal ? Presence::Unknown : Presence::Gone,
                         " has been silent for " + InWords(silent));
        }
        if (!IsOfThisRun(beat) && !beat.isRenewed) {
            return state(Presence::Unknown, " has sent no second heartbeat yet");
        }
        return state(Presence::Alive, " runs");
    }

    std::vector<Listing> ListingsOf(const PropertyId& id) REQUIRES(lock) {
        std::vector<Listing> listings;
        auto beat = beats.lower_bound({id.component, HeartbeatGroup(), ""});
        for (; beat != beats.end() && beat->first.component == id.component; ++beat) {
            const auto& changed = beat->second.heartbeat.changed;
            const auto group = changed.find(id.group);
            if (group == changed.end()) {
                continue;
            }
            const auto property = group->second.find(id.property);
            if (property != group->second.end()) {
                listings.push_back({beat->second, property->second});
            }
        }
        return listings;
    }

    /// Returns the time at which the property was set, in milliseconds of this machine.
    std::uint64_t TimeHere(const Listing& listing) const {
        if (IsOfThisRun(listing.beat)) {
            return listing.changed;
        }
        const std::uint64_t clock = listing.beat.heartbeat.clock;
        const std::uint64_t before = clock - std::min(clock, listing.changed);
        return listing.beat.arrivedAt - std::min(listing.beat.arrivedAt, before);
    }

    const Heartbeat here;
    Mutex lock;
    std::map<PropertyId, Beat> beats GUARDED_BY(lock);
    std::map<PropertyId, Value> values GUARDED_BY(lock);
    /// The properties of withdrawn heartbeats that TakeChanges hasn't returned yet.
    std::set<PropertyId> withdrawn GUARDED_BY(lock);
};

Owners::Owners() : knowledge(std::make_unique<Knowledge>()) {}
Owners::~Owners() = default;
Owners::Owners(Owners&&) noexcept = default;
Owners& Owners::operator=(Owners&&) noexcept = default;

void Owners::Take(const Property& property) { knowledge->Take(property); }

Owners::State Owners::Of(const PropertyId& id) const { return knowledge->Of(id); }

std::optional<Owners::Age> Owners::AgeOf(const PropertyId& id) const {
    return knowledge->AgeOf(id);
}

std::vector<PropertyId> Owners::TakeChanges() { return knowledge->TakeChanges(); }

const std::string& Owners::HeartbeatGroup() {
    static const std::string guid(Heartbeat::kGroup);
    return guid;
}

std::string Owners::Age::Text() const { return (isAtLeast ? "> " : "") + InWords(milliseconds); }

const char* NameOf(Owners::Presence presence) {
    switch (presence) {
        case Owners::Presence::Alive:
            return "alive";
        case Owners::Presence::Gone:
            return "gone";
        default:
            return "unknown";
    }
}

}  // namespace vantry::client
