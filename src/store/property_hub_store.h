#pragma once

#include <deque>
#include <memory>

#include "store/local_property_sink.h"
#include "store/property_store.h"

namespace vantry {

/// The store whose properties the engine publishes. It keeps the engine only weakly, and collects
/// what is added while there is none.
class PropertyHubStore final : public PropertyStore {
public:
    using PropertyStore::PropertyStore;

    /// Links the engine and hands it, in order, every property that was collected.
    void AttachEngine(const std::shared_ptr<LocalPropertySink>& attached);
    /// The engine hears of the property first, so that no change escapes it.
    bool AddProperty(std::shared_ptr<Property> property) override;
    /// The subscribers hear of it before the catalog lets go.
    void RemoveProperty(const std::shared_ptr<Property>& property,
                        std::shared_ptr<Event> done) override;
    void RetireProperty(const std::shared_ptr<Property>& property);

private:
    std::shared_ptr<LocalPropertySink> Engine();

    Lock engineLock;
    std::weak_ptr<LocalPropertySink> engine GUARDED_BY(engineLock);
    std::deque<std::shared_ptr<Property>> pending GUARDED_BY(engineLock);
};

}  // namespace vantry
