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

/// A catalog that saves the values of registered properties and restores them after a restart.
///
/// RegisterProperty makes a property visible and persistent; AddProperty only makes it visible. The
/// owner of a property adds its callbacks, registers the property, and then reads its value, which
/// may have been restored; no callback is called for that. All operations are thread-safe.
class PropertyStore : public PropertyCatalog {
public:
    /// Loads the files, which blocks for the disk, and writes a notice for the operator if they
    /// can't be written. If neither the file nor its backup is good, every property keeps its
    /// default and "Property Loading Error" is True. `hubPlatform` must outlive the store.
    PropertyStore(Platform& hubPlatform, ThreadReaper& reaper, PropertyStoreSettings names);
    /// Stops the removal thread, and waits for queued values to be saved (see LineWriter). Removals
    /// that are still queued aren't done, and their events aren't set.
    ~PropertyStore() override;

    /// Restores the stored value without calling callbacks, adds the property, and saves every
    /// later change. Does nothing if a property with the same identity is registered. Never waits
    /// for the disk.
    void RegisterProperty(const std::shared_ptr<Property>& property);
    /// Makes the removal thread remove the property from the catalog and then set `done`, which may
    /// be null. Doesn't wait. Does nothing if `property` is null.
    virtual void RemoveProperty(const std::shared_ptr<Property>& property,
                                std::shared_ptr<Event> done);
    /// Starts the removal thread, which first processes the removals queued before. If the system
    /// can't create the thread, removed properties stay in the catalog and no `done` is set.
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
    /// Also held while a changed property is saved, so that the newest value is queued last.
    Mutex registeredLock;
    std::deque<std::shared_ptr<Property>> registered GUARDED_BY(registeredLock);
    std::shared_ptr<TriggerProperty> loadTrigger;
    std::shared_ptr<TriggerProperty> storeTrigger;
    std::shared_ptr<BoolProperty> loadError;
    /// Also held while the queued properties are removed from the catalog.
    Mutex removalsLock;
    std::deque<Removal> removals GUARDED_BY(removalsLock);
    EventFlags removalSignal{true};
    const std::unique_ptr<Thread> removalThread;
    PropertyFileWriter writer;
};

}  // namespace vantry
