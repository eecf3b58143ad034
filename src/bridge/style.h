#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bridge/change.h"
#include "bridge/inventory.h"
#include "mqtt/connection.h"
#include "runtime/result.h"

namespace vantry::bridge {

/// The state of the bridge and of the hub behind it, as it is published.
struct Health {
    /// When the bridge started, and when it connected to the broker, in milliseconds since 1970.
    std::int64_t run = 0;
    std::int64_t since = 0;
    bool hasHub = false;
    /// The changes that were lost because a bound was reached or the broker refused them.
    std::uint64_t dropped = 0;
    /// The batches that are kept for the broker.
    std::uint64_t waiting = 0;
    /// The properties whose values report a problem, and the version of the firmware if it is
    /// known.
    std::vector<std::string> errors = {};
    std::string firmware = {};
};

/// What a message to the bridge asks for.
struct Request {
    /// HostUp and HostDown report the state of the host that the style needs.
    enum class Kind { Write, Rebirth, HostUp, HostDown };

    Kind kind = Kind::Write;
    /// The property, unless `refusal` says why there is none.
    std::shared_ptr<const Subject> subject = {};
    std::string value = {};
    std::optional<Error> refusal = {};
    /// Where the answer goes, empty if the style has none, and what it repeats.
    std::string answerTopic = {};
    std::string correlation = {};
    /// When the request expires, in milliseconds since 1970. It is rejected then.
    std::int64_t expires = 0;
};

/// A convention of topics and payloads. An object serves one printer, and is used by one thread.
class Style {
public:
    virtual ~Style() = default;

    /// Begins a connection, and returns the message that the broker sends when it breaks.
    virtual mqtt::Message Will(const Health& health) = 0;
    /// Returns the messages with everything, for the start of a connection, and again when a
    /// property that wasn't in an earlier birth must be made known.
    virtual std::vector<mqtt::Message> Birth(const Inventory& all, const Health& health) = 0;
    /// Returns the messages with all values.
    virtual std::vector<mqtt::Message> State(const Inventory& all, const Health& health) = 0;
    /// Returns the messages for a change of the health; hasHub may have changed.
    virtual std::vector<mqtt::Message> HealthUpdate(const Inventory& all, const Health& health) = 0;
    /// Returns the messages of a batch; none if this style has no place for it. `historical` says
    /// that newer values may have been sent before.
    virtual std::vector<mqtt::Message> Changes(const Inventory& all, const Batch& batch,
                                               bool historical) = 0;
    /// Returns the messages before a wanted end of the connection.
    virtual std::vector<mqtt::Message> Death(const Health& health) = 0;
    /// Returns the topics to subscribe to.
    virtual std::vector<std::string> Filters() const = 0;
    /// Returns what a message asks for, or nothing if it isn't for this printer.
    virtual std::vector<Request> Read(const Inventory& all, const mqtt::Message& message) = 0;
    /// Returns the topics under which the broker retains messages of this printer.
    virtual std::vector<std::string> Retained() const = 0;
    /// Returns whether batches are of use after newer values were sent.
    virtual bool KeepsHistory() const { return true; }
    /// Returns whether nothing may be sent before a HostUp and after a HostDown.
    virtual bool NeedsHost() const { return false; }
    /// Returns whether this change can only be sent after a birth.
    virtual bool NeedsBirth(const Change& /*change*/) const { return false; }
};

/// Returns the styles. `acceptsWrites` says whether to offer and read writes. With a `host` nothing
/// is sent while that host isn't there.
struct StyleOf {
    static std::unique_ptr<Style> Plain(const std::string& site, const std::string& serial,
                                        bool acceptsWrites);
    static std::unique_ptr<Style> HomeAssistant(const std::string& site, const std::string& serial,
                                                bool acceptsWrites);
    static std::unique_ptr<Style> Sparkplug(const std::string& site, const std::string& serial,
                                            bool acceptsWrites, const std::string& host);
};

}  // namespace vantry::bridge
