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

/// Called with the property that changed, on the thread that changed it.
using PropertyChangedCallback = std::function<void(const std::shared_ptr<Property>&)>;

/// What a property is called, by machines and by people.
struct PropertyIdentity {
    std::string guid;
    std::string name;
    std::string groupGuid;
    std::string group;
};

/// One named value, what the hub stores, publishes and persists. Every value crosses the hub as
/// text; each class keeps it in its own type.
///
/// The identity is fixed; the pair of group GUID and GUID, compared as bytes, tells properties
/// apart. Made by the factories of property_factories.h. Values may be read and set by any thread.
/// Callbacks are added before another thread can reach the property, and run one after the other
/// on the thread that made the change, with no lock held, so they may use the property.
class Property {
public:
    explicit Property(PropertyIdentity name);
    virtual ~Property();
    Property(const Property&) = delete;
    Property& operator=(const Property&) = delete;

    virtual void GetText(std::string& text) const = 0;
    /// Parses and sets; a real change is told. A refused text leaves the value as it was.
    [[nodiscard]] virtual Refusal SetText(std::string_view text) = 0;
    /// Parses and stores, and tells nobody. For values that come back from a file.
    [[nodiscard]] virtual Refusal SetTextQuietly(std::string_view text) = 0;
    /// What a message carries.
    virtual void GetPublishedText(std::string& text) const { GetText(text); }
    /// Calls the callbacks in order of adding.
    virtual Refusal NotifyChanged();

    void AddChangedCallback(PropertyChangedCallback callback);
    /// For the factories: the owner from which callbacks get their reference.
    void SetSelf(const std::shared_ptr<Property>& owner) { self = owner; }

    /// The text of the property as it travels, with its value in force.
    const KeptText& RecordText() const { return recordText; }

    const std::string& Guid() const { return identity.guid; }
    const std::string& Name() const { return identity.name; }
    const std::string& GroupGuid() const { return identity.groupGuid; }
    const std::string& Group() const { return identity.group; }

protected:
    /// Called behind each store of another value, before anybody is told.
    void ValueStored() { recordText.Outdate(); }

private:
    std::weak_ptr<Property> self;
    const PropertyIdentity identity;
    std::vector<PropertyChangedCallback> callbacks;
    KeptText recordText;
};

}  // namespace vantry
