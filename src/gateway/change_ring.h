#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "client/property.h"

namespace vantry::gateway {

/// The last events, numbered from 1, so that a reader that was away can continue where it was. It
/// keeps 10,000 events, or fewer if their texts have more than 32 MiB. Used by one thread.
class ChangeRing {
public:
    struct Event {
        /// The property that has changed, or nothing if the event is about the connection to the
        /// hub.
        std::optional<client::PropertyId> property;
        /// The event as it goes over the wire, with its id.
        std::string text;
    };
    static constexpr std::size_t kMostEvents = 10'000;
    static constexpr std::size_t kMostBytes = 32U << 20U;

    /// `name` distinguishes the ids of this run of the program from those of others.
    explicit ChangeRing(std::string name) : instance(std::move(name)) {}

    /// Returns the number of the newest event, or 0.
    std::uint64_t Newest() const { return newest; }
    /// Returns whether all events after this one are still there.
    bool HasAllAfter(std::uint64_t number) const {
        return number <= newest && number + events.size() >= newest;
    }
    /// Returns an event. HasAllAfter must hold for a smaller number, and the number must not be
    /// above Newest.
    const Event& Get(std::uint64_t number) const {
        return events[events.size() - 1 - static_cast<std::size_t>(newest - number)];
    }
    /// Adds an event of this type, whose data is one line. Returns its number.
    std::uint64_t Add(std::optional<client::PropertyId> property, const char* type,
                      const std::string& data);

    /// Returns the id of an event as a text.
    std::string IdOf(std::uint64_t number) const;
    /// Returns the number of an event of this run, or nothing for another text.
    std::optional<std::uint64_t> NumberIn(const std::string& id) const;

private:
    const std::string instance;
    std::deque<Event> events;
    std::uint64_t newest = 0;
    std::size_t bytes = 0;
};

}  // namespace vantry::gateway
