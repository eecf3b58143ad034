#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/property.h"

namespace vantry::client {

/// Says which properties still have a program that owns them, and how old values are.
///
/// The hub keeps the properties of a program that has ended, and doesn't say when a value was set.
/// Programs that use this library therefore keep heartbeat properties (see
/// Hub::Options::heartbeatMilliseconds and docs/LIVENESS.md). An Owners object learns from the
/// properties that are passed to Take: pass every property that a read or a subscription reports,
/// and with them the heartbeats, which are the members of the group HeartbeatGroup(). All
/// operations are thread-safe, and none asks the hub.
class Owners {
public:
    enum class Presence {
        /// The program runs, as far as this program can tell.
        Alive,
        /// The program has ended, or has been silent for more than three intervals of its
        /// heartbeat. Writes to its properties are lost.
        Gone,
        /// The program keeps no heartbeat that this connection may read, or runs but is silent.
        Unknown
    };
    struct State {
        Presence presence = Presence::Unknown;
        /// The reason as a sentence for people, such as "process 123 on host x has ended".
        std::string why;
        /// The process and the host of the program; 0 and empty if they are unknown.
        std::uint32_t process = 0;
        std::string host;
    };
    struct Age {
        std::uint64_t milliseconds = 0;
        /// True if the value may be older: this program found it when it looked for the first time.
        /// Such an age is printed with ">".
        bool isAtLeast = true;

        /// Returns a text such as "350 ms", "> 12 s" or "3 h".
        std::string Text() const;
    };

    Owners();
    ~Owners();
    Owners(Owners&&) noexcept;
    Owners& operator=(Owners&&) noexcept;

    /// Learns from a property. Doesn't block.
    void Take(const Property& property);
    /// Returns what is known of the program that owns the property. For a program on this machine
    /// the system is asked whether its process runs, at most once a second.
    State Of(const PropertyId& id) const;
    /// Returns the time since the value was set, or nothing for a property that wasn't passed to
    /// Take. A value that was set after the last heartbeat and before this program began to
    /// subscribe to it is younger than that, by at most the interval of the heartbeat.
    std::optional<Age> AgeOf(const PropertyId& id) const;
    /// Returns the properties whose Presence has changed since the last call. A program that shows
    /// the presence calls this each second.
    std::vector<PropertyId> TakeChanges();

    /// Returns the group of the heartbeat properties, for Hub::ReadGroup and Interest::Group.
    static const std::string& HeartbeatGroup();
    static bool IsHeartbeat(const PropertyId& id) { return id.group == HeartbeatGroup(); }

private:
    class Knowledge;

    std::unique_ptr<Knowledge> knowledge;
};

/// Returns "alive", "gone" or "unknown".
const char* NameOf(Owners::Presence presence);

}  // namespace vantry::client
