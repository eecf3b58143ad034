#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "property/kept_text.h"
#include "property/refusal.h"

namespace vantry {

class Property;

/// A function that is called with the property that has changed, on the thread that changed it.
using PropertyChangedCallback = std::function<void(const std::shared_ptr<Property>&)>;

/// The GUIDs and display names of a property and of its group.
struct PropertyIdentity {
    std::string guid;
    std::string name;
    std::string groupGuid;
    std::string group;
};

/// One named value that the hub holds, saves and publishes. Values are text wherever they leave a
/// property; each subclass stores its value in a type of its own.
///
/// The identity never changes; the pair of group GUID and GUID, compared as bytes, is unique. The
/// factories of property_factories.h create properties. Any thread may read and set values.
/// Callbacks are added before another thread can reach the property. They run one after the other
/// on the thread that made the change, with no lock held, so they may use the property; how long a
/// setter blocks depends on them. LiveObjectCounters counts the objects.
class Property {
public:
    explicit Property(PropertyIdentity name);
    virtual ~Property();
    Property(const Property&) = delete;
    Property& operator=(const Property&) = delete;

    /// Replaces `text` by the text of the value.
    virtual void GetText(std::string& text) const = 0;
    /// Parses `text`, sets the value, and calls the callbacks if the value has changed. A refused
    /// text leaves the value as it was.
    [[nodiscard]] virtual Refusal SetText(std::string_view text) = 0;
    /// Does the same without calling the callbacks. This is for values that are loaded from a file.
    [[nodiscard]] virtual Refusal SetTextQuietly(std::string_view text) = 0;
    /// Replaces `text` by the text that messages carry for the value.
    virtual void GetPublishedText(std::string& text) const { GetText(text); }
    /// Calls the callbacks in the order in which they were added. Returns kNoOwner, without calling
    /// the rest, if no factory created the property or its last owner is releasing it.
    virtual Refusal NotifyChanged();

    /// Adds a callback, which stays for the life of the property. Not thread-safe, see above.
    void AddChangedCallback(PropertyChangedCallback callback);
    /// Sets the owner from which callbacks get their reference. Only the factories call it.
    void SetSelf(const std::shared_ptr<Property>& owner) { self = owner; }

    /// Returns the kept text of the record of this property.
    const KeptText& RecordText() const { return recordText; }

    // These return the parts of the identity, which never changes.

    const std::string& Guid() const { return identity.guid; }
    const std::string& Name() const { return identity.name; }
    const std::string& GroupGuid() const { return identity.groupGuid; }
    const std::string& Group() const { return identity.group; }

protected:
    /// Subclasses call it after they have stored a value and before they call the callbacks.
    void ValueStored() { recordText.Outdate(); }

private:
    std::weak_ptr<Property> self;
    const PropertyIdentity identity;
    std::vector<PropertyChangedCallback> callbacks;
    KeptText recordText;
};

}  // namespace vantry
