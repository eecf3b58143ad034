#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vantry::client {

/// Identifies a property among all components. The GUIDs are texts that are compared byte for byte.
struct PropertyId {
    std::string component;
    std::string group;
    std::string property;

    bool operator==(const PropertyId&) const = default;
    auto operator<=>(const PropertyId&) const = default;
};

/// The reason for which a property is reported to the program.
enum class Origin {
    /// The present value, as the answer to a read or at the start of a subscription.
    Present,
    /// The hub has published it.
    Change,
    /// Reading again showed a difference from the value reported last, because a publication was
    /// lost or the connection was interrupted.
    Reconciled
};

/// The state of a property as the hub reports it.
struct Property {
    PropertyId id;
    std::string componentName;
    std::string groupName;
    std::string name;
    std::string value;
    /// False if the component has withdrawn the property.
    bool available = true;
    Origin origin = Origin::Present;
};

/// A new value for a property of another program.
struct PropertyWrite {
    PropertyId id;
    std::string value;
};

/// The type of a property's values. The hub passes values on as texts and doesn't know their types,
/// so the owner's library checks what is written.
enum class ValueType {
    /// Any text without a NUL.
    Text,
    /// 0 to 4294967295.
    Number,
    /// "True" or "False".
    Bool,
    /// A bool whose owner runs a command when anything but "False" is written; the value is the
    /// result of the last run.
    Command
};

/// A property of this program. Its GUIDs must not be empty or contain a quote, a backslash or a
/// control character, and that of the group no colon. Its component must not be that of the hub.
struct Announcement {
    PropertyId id;
    std::string componentName;
    std::string groupName;
    std::string name;
    ValueType type = ValueType::Text;
    std::string value;
    /// The handler of writes, which is called with each written text that is a value of the type.
    /// It returns the new value, which is published, or nothing to keep the old one. Without a
    /// handler the property can't be written. Handlers run one after another on a thread of the Hub
    /// for that purpose, so they may call every operation of the Hub; further writes wait until a
    /// handler returns. An exception is passed to Hub::Options::onError, and the value is kept.
    std::function<std::optional<std::string>(const std::string& written)> onWrite;
};

/// A function that is called with each change. Callbacks run one after another on a thread of the
/// Hub for that purpose, so they may call every operation of the Hub. A callback that takes long
/// delays later changes. An exception is passed to Hub::Options::onError.
using ChangeCallback = std::function<void(const Property&)>;

/// The set of properties that a subscription reports.
struct Interest {
    /// Returns an interest in every property, including those that are announced later.
    static Interest Everything() { return {true, {}, {}}; }
    /// Returns an interest in all members of a group, of all components, including those that are
    /// announced later.
    static Interest Group(std::string guid) { return {false, {std::move(guid)}, {}}; }
    /// Returns an interest in these properties, which need not exist yet.
    static Interest List(std::vector<PropertyId> ids) { return {false, {}, std::move(ids)}; }

    /// Returns whether the property belongs to the set.
    bool Covers(const PropertyId& id) const;
    /// Returns whether the hub must send every property for this interest, because it can't
    /// subscribe a connection to a group.
    bool NeedsEverything() const { return everything || !groups.empty(); }

    bool everything = false;
    std::vector<std::string> groups;
    std::vector<PropertyId> ids;
};

}  // namespace vantry::client
