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

/// How a record came to the program.
enum class Origin {
    /// It is the present value, which was asked for, or which a fresh subscription begins with.
    Present,
    /// The hub has published it.
    Change,
    /// Reading again has shown that it differs from what was told before: its publication was lost,
    /// or came during an interruption.
    Reconciled
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
    Origin origin = Origin::Present;
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

/// A property of this program's own. Its GUIDs are not empty and hold no quote, backslash or
/// control character, and that of the group no colon; its component isn't that of the hub.
struct Announcement {
    PropertyId id;
    std::string componentName;
    std::string groupName;
    std::string name;
    ValueType type = ValueType::Text;
    std::string value;
    /// Called with what somebody has written, once it fits the type. Returns the value in force
    /// now, which is published, or nothing to leave it as it is. Without one the property can't be
    /// written. Handlers run one after another on a thread of the Hub that does nothing else, so
    /// they may call every operation of the Hub; writes wait meanwhile. An exception goes to
    /// Hub::Options::onError, and the value stays as it is.
    std::function<std::optional<std::string>(const std::string& written)> onWrite;
};

/// Called with each change. Callbacks run one after another on a thread of the Hub that does
/// nothing else, so they may call every operation of the Hub. A callback that takes long delays the
/// changes behind it. An exception goes to Hub::Options::onError.
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
