#include "store/property_hub_store.h"

namespace vantry {

void PropertyHubStore::AttachEngine(const std::shared_ptr<LocalPropertySink>& attached) {
    ScopedLock guard(engineLock);
    engine = attached;
    for (const std::shared_ptr<Property>& property : pending) {
        attached->AddProperty(property);
    }
}

bool PropertyHubStore::AddProperty(std::shared_ptr<Property> property) {
    {
        ScopedLock guard(engineLock);
        if (const std::shared_ptr<LocalPropertySink> attached = engine.lock()) {
            attached->AddProperty(property);
        } else {
            pending.push_back(property);
        }
    }
    return PropertyCatalog::AddProperty(property);
}

void PropertyHubStore::RemoveProperty(const std::shared_ptr<Property>& property,
                                      std::shared_ptr<Event> done) {
    if (property) {
        RetireProperty(property);
    }
    PropertyStore::RemoveProperty(property, std::move(done));
}

void PropertyHubStore::RetireProperty(const std::shared_ptr<Property>& property) {
    if (const std::shared_ptr<LocalPropertySink> attached = Engine()) {
        attached->RetireProperty(property);
    }
}

std::shared_ptr<LocalPropertySink> PropertyHubStore::Engine() {
    ScopedLock guard(engineLock);
    return engine.lock();
}

}  // namespace vantry
