#pragma once

#include <deque>
#include <memory>

#include "store/local_property_sink.h"
#include "store/property_store.h"

namespace vantry {

/// The store whose properties the engine publishes. It refers to the engine weakly, and collects
/// the properties that are added before AttachEngine. All operations are thread-safe.
class PropertyHubStore final : public PropertyStore {
public:
    using PropertyStore::PropertyStore;

    /// Sets the engine and adds every collected property to it, in order.
    void AttachEngine(const std::shared_ptr<LocalPropertySink>& attached);
    /// Adds the property to the engine first and then to the catalog, so that the engine misses no
    /// change. Returns as PropertyCatalog::AddProperty does; the engine has been given the property
    /// in either case.
    bool AddProperty(std::shared_ptr<Property> property) override;
    /// Retires the property and then removes it from the catalog.
    void RemoveProperty(const std::shared_ptr<Property>& property,
                        std::shared_ptr<Event> done) override;
    /// Publishes the withdrawal of the property and leaves it in the catalog, unlike
    /// RemoveProperty. Does nothing if there is no engine.
    void RetireProperty(const std::shared_ptr<Property>& property);

private:
    std::shared_ptr<LocalPropertySink> Engine();

    /// Held while a property is given to the engine or collected, so that AttachEngine misses none.
    Mutex engineLock;
    std::weak_ptr<LocalPropertySink> engine GUARDED_BY(engineLock);
    std::deque<std::shared_ptr<Property>> pending GUARDED_BY(engineLock);
};

}  // namespace vantry
