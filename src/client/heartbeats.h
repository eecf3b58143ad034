#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/property.h"
#include "runtime/lock.h"

namespace vantry::client {

/// The heartbeat properties of this program, one for each component whose properties it announces,
/// and the times at which it set these properties. All operations are thread-safe and don't block.
class Heartbeats {
public:
    /// An `interval` of 0 milliseconds means that the program keeps no heartbeats.
    explicit Heartbeats(std::uint32_t interval) : intervalMilliseconds(interval) {}

    std::uint32_t Interval() const { return intervalMilliseconds; }

    /// Adds properties that are about to be announced, as set now. Returns the heartbeat properties
    /// to announce with them: those of components that had none.
    [[nodiscard]] std::vector<Announcement> Join(const std::vector<Announcement>& properties);
    /// Notes that the property was set now.
    void NoteChange(const PropertyId& id);
    /// Removes a property. Returns the heartbeat property to withdraw if the component has no other
    /// property.
    std::optional<PropertyId> Leave(const PropertyId& id);
    /// Returns the heartbeat properties with their values at this time. `ends` means that there are
    /// no further ones.
    [[nodiscard]] std::vector<std::pair<PropertyId, std::string>> Beat(bool ends);

private:
    struct Component {
        PropertyId heartbeat;
        /// The times in milliseconds of MachineMilliseconds.
        std::map<PropertyId, std::uint64_t> changed;
    };

    std::string TextOf(const Component& component, bool ends) const;

    const std::uint32_t intervalMilliseconds;
    Mutex lock;
    std::map<std::string, Component> components GUARDED_BY(lock);
};

}  // namespace vantry::client
