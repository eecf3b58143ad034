#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "client/property.h"
#include "describe/description.h"

namespace vantry::bridge {

/// What stays the same about a property as long as the hub has it.
struct Subject {
    client::PropertyId id;
    std::string component;
    std::string group;
    std::string name;
    /// The name in messages: "Component/Group/Name", or "COMPONENT:GROUP:PROPERTY" of the GUIDs
    /// where another property has that name.
    std::string key;
    describe::Description description;
    /// A number that no other property of this run has.
    std::uint64_t alias = 0;
};

/// A value of a property, with the time at which this program has received it, in milliseconds
/// since 1970. The hub gives no times.
struct Change {
    std::shared_ptr<const Subject> subject;
    std::string value;
    /// False if the component has withdrawn the property.
    bool available = true;
    std::int64_t time = 0;
};

/// Changes that travel in one message, in the order in which they were received.
struct Batch {
    /// The start of the program that received them, in milliseconds since 1970. Together with the
    /// number, which counts the batches of a printer from 1, it distinguishes messages.
    std::int64_t run = 0;
    std::uint64_t number = 0;
    std::vector<Change> changes;
};

/// Returns the present time in milliseconds since 1970. Thread-safe.
std::int64_t NowSince1970();

}  // namespace vantry::bridge
