#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vantry::client {

/// A property among all: GUIDs are opaque text, compared byte for byte.
struct PropertyId {
    std::string component;
    std::string group;
    std::string property;

    bool operator==(const PropertyId&) const = default;
    auto operator<=>(const PropertyId&) const = default;
};

/// A property as the hub tells of it.
struct Property {
    PropertyId id;
    std::string componentName;
    std::string groupName;
    std::string name;
    std::string value;
    /// False for the last word on a property that its component has withdrawn.
    bool available = true;
};

enum class ValueType {
    /// Any text without a NUL.
    Text,
    /// 0 to 4294967295.
    Number,
    /// "True" or "False".
    Truth,
    /// A command: writing anything but "False" runs it, and its value tells how it went.
    Command
};

/// A property of this program's own.
struct Announcement {
    PropertyId id;
    std::string componentName;
    std::string groupName;
    std::string name;
    ValueType type = ValueType::Text;
    std::string value;
    /// Called with what somebody has written, once it fits the type. Returns the value in force
    /// now, which is published, or nothing to leave it as it is. Without one the property can't be
    /// written. Runs on a thread of the Hub: it must not wait for that Hub.
    std::function<std::optional<std::string>(const std::string& written)> onWrite;
};

/// Called with each change. Runs on a thread of the Hub: it must not wait for that Hub.
using ChangeCallback = std::function<void(const Property&)>;

/// What a subscription is for.
struct Interest {
    static Interest Everything() { return {true, {}, {}}; }
    /// All members of a group, whatever the component, those announced later included.
    static Interest Group(std::string guid) { return {false, {std::move(guid)}, {}}; }
    static Interest List(std::vector<PropertyId> ids) { return {false, {}, std::move(ids)}; }

    bool Covers(const PropertyId& id) const;

    bool everything = false;
    std::vector<std::string> groups;
    std::vector<PropertyId> ids;
};

}  // namespace vantry::client
