#pragma once

#include <chrono>
#include <string>

#include "client/owners.h"
#include "client/property.h"
#include "describe/description.h"

namespace vantry::gateway {

using Time = std::chrono::system_clock::time_point;

/// All that the gateway knows of a property.
struct KnownProperty {
    client::Property property;
    describe::Description description;
    /// When the present state arrived here. The protocol carries no times.
    Time time;
    /// When the value was set, as far as the heartbeat of its owner or the arrival of the change
    /// show it. If that isn't exact, the value may be older.
    Time since;
    bool isSinceExact = false;
    client::Owners::State owner;
    /// Whether the rules of --allow-write and the description allow writes.
    bool isSettable = false;
};

// The texts that leave the gateway. A value is cut at 64 KiB, and its length is stated then. Bytes
// that aren't UTF-8 become U+FFFD, and no text holds a line feed. All functions are thread-safe.

/// Returns the time as "2026-11-25T14:04:06.123Z".
std::string TimeText(Time time);
/// Returns the property as a JSON object, with its description.
std::string ToJson(const KnownProperty& known);
/// Returns the state of a property that the reader knows already as a JSON object.
std::string ChangeToJson(const KnownProperty& known);
/// Returns the owner of a property that the reader knows already as a JSON object.
std::string OwnerToJson(const KnownProperty& known);
/// Returns what a property of this group is about: "problem", "supply", "job", "heartbeat", or an
/// empty text.
std::string KindOfGroup(const std::string& guid);
/// Returns the text with bytes that aren't UTF-8 replaced.
std::string Utf8(const std::string& text);

}  // namespace vantry::gateway
