#pragma once

#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "property/bool_property.h"
#include "property/property_catalog.h"
#include "property/trigger_property.h"
#include "runtime/event.h"
#include "runtime/event_flags.h"
#include "runtime/thread_reaper.h"
#include "store/property_file_writer.h"

namespace vantry {

/// The names of the files that a store keeps, and the priorities of its two threads.
struct PropertyStoreSettings {
    std::u16string filePath;
    std::u16string overridePath;
    std::uint32_t removalPriority;
    std::uint32_t writerPriority;
};

/// The catalog with a memory: what is registered here survives a restart.
///
/// RegisterProperty makes a property visible and persistent, AddProperty visible alone. Whoever
/// has a property adds callbacks first, registers it, and then reads its value, which may be the
/// stored one by now; no callback tells of that. Any thread may call the operations.
class PropertyStore : public PropertyCatalog {
public:
    /// Loads the files, and tells the operator if they can't be written. `platform` must outlive
    /// the store.
    PropertyStore(Platform& hubPlatform, ThreadReaper& reaper, PropertyStoreSettings names);
    ~PropertyStore() override;

    /// Restores the stored value quietly, saves every later change, and adds the property. A second
    /// property of one identity is not used.
    void RegisterProperty(const std::shared_ptr<Property>& property);
    /// Has the removal thread take the property out of the catalog; sets `done`, if there is one,
    /// when that has happened. An empty property is ignored.
    virtual void RemoveProperty(const std::shared_ptr<Property>& property,
                                std::shared_ptr<Event> done);
    /// Starts the removal thread, which works off what was queued before.
    void StartRemovals();

private:
    struct Removal {
        std::string key;
        std::shared_ptr<Event> done;
    };

    void MakeOwnProperties();
    [[nodiscard]] bool LoadFiles();
    void SaveAll();
    void RunRemovals();
    void RemoveQueued();
    void TellIfUnwritable();

    Platform& platform;
    const PropertyStoreSettings settings;
    Lock registeredLock;
    std::deque<std::shared_ptr<Property>> registered GUARDED_BY(registeredLock);
    std::shared_ptr<TriggerProperty> loadTrigger;
    std::shared_ptr<TriggerProperty> storeTrigger;
    std::shared_ptr<BoolProperty> loadError;
    Lock removalsLock;
    std::deque<Removal> removals GUARDED_BY(removalsLock);
    EventFlags removalSignal{true};
    const std::unique_ptr<Thread> removalThread;
    PropertyFileWriter writer;
};

}  // namespace vantry
