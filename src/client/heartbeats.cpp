// The heartbeat properties of this program.
//
// Several programs may own properties of one component, for example a simulation of one sensor
// beside the real firmware, and each needs a heartbeat of its own. A heartbeat is therefore named
// after the first property that the program announces of the component: no other program owns
// that one, and a later run of the same program, which replaces the property, replaces the
// heartbeat with it.

#include "client/heartbeats.h"

#include <algorithm>
#include <utility>

#include "client/heartbeat.h"

namespace vantry::client {
namespace {

/// A heartbeat has the times of at most this many properties, those set last, so that a component
/// with very many properties doesn't send a megabyte each time.
constexpr std::size_t kMostTimes = 4096;

}  // namespace

std::vector<Announcement> Heartbeats::Join(const std::vector<Announcement>& properties) {
    std::vector<Announcement> fresh;
    if (intervalMilliseconds == 0) {
        return fresh;
    }
    const std::uint64_t now = MachineMilliseconds();
    ScopedLock guard(lock);
    for (const Announcement& property : properties) {
        if (property.id.group == Heartbeat::kGroup) {
            continue;
        }
        Component& component = components[property.id.component];
        if (component.changed.empty()) {
            component.heartbeat = {property.id.component, std::string(Heartbeat::kGroup),
                                   property.id.group + ":" + property.id.property};
            fresh.push_back({.id = component.heartbeat,
                             .componentName = property.componentName,
                             .groupName = std::string(Heartbeat::kName),
                             .name = std::string(Heartbeat::kName),
                             .value = "",
                             .onWrite = {}});
        }
        component.changed[property.id] = now;
    }
    for (Announcement& heartbeat : fresh) {
        heartbeat.value = TextOf(components[heartbeat.id.component], false);
    }
    return fresh;
}

void Heartbeats::NoteChange(const PropertyId& id) {
    const std::uint64_t now = MachineMilliseconds();
    ScopedLock guard(lock);
    const auto component = components.find(id.component);
    if (component == components.end()) {
        return;
    }
    const auto found = component->second.changed.find(id);
    if (found != component->second.changed.end()) {
        found->second = now;
    }
}

std::optional<PropertyId> Heartbeats::Leave(const PropertyId& id) {
    ScopedLock guard(lock);
    const auto component = components.find(id.component);
    if (component == components.end() || component->second.changed.erase(id) == 0 ||
        !component->second.changed.empty()) {
        return std::nullopt;
    }
    PropertyId heartbeat = std::move(component->second.heartbeat);
    components.erase(component);
    return heartbeat;
}

std::vector<std::pair<PropertyId, std::string>> Heartbeats::Beat(bool ends) {
    std::vector<std::pair<PropertyId, std::string>> all;
    ScopedLock guard(lock);
    for (const auto& [guid, component] : components) {
        all.emplace_back(component.heartbeat, TextOf(component, ends));
    }
    return all;
}

std::string Heartbeats::TextOf(const Component& component, bool ends) const {
    Heartbeat beat = Heartbeat::OfThisProcess();
    beat.interval = intervalMilliseconds;
    beat.hasEnded = ends;
    std::vector<std::pair<std::uint64_t, const PropertyId*>> latest;
    for (const auto& [id, at] : component.changed) {
        latest.emplace_back(at, &id);
    }
    if (latest.size() > kMostTimes) {
        std::nth_element(
            latest.begin(), latest.begin() + kMostTimes, latest.end(),
            [](const auto& one, const auto& other) { return one.first > other.first; });
        latest.resize(kMostTimes);
    }
    for (const auto& [at, id] : latest) {
        beat.changed[id->group][id->property] = at;
    }
    return beat.ToText();
}

}  // namespace vantry::client
