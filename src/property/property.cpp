#include "property/property.h"

#include <utility>

#include "runtime/live_object_counters.h"

namespace vantry {

Property::Property(PropertyIdentity name) : identity(std::move(name)) {
    ++LiveObjectCounters::properties;
}

Property::~Property() { --LiveObjectCounters::properties; }

void Property::AddChangedCallback(PropertyChangedCallback callback) {
    callbacks.push_back(std::move(callback));
}

Refusal Property::NotifyChanged() {
    for (const PropertyChangedCallback& callback : callbacks) {
        const std::shared_ptr<Property> owner = self.lock();
        if (!owner) {
            return kNoOwner;
        }
        callback(owner);
    }
    return kAccepted;
}

}  // namespace vantry
