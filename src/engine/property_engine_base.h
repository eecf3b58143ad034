#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/change_queue.h"
#include "engine/external_rights.h"
#include "engine/pending_records.h"
#include "engine/record_texts.h"
#include "property/uint32_property.h"
#include "runtime/thread_reaper.h"
#include "store/local_property_sink.h"
#include "store/property_store.h"
#include "transport/session/message_visitor.h"

namespace vantry {

/// The half of the engine that handles the hub's own properties: it reads them, queues their
/// changes, and has the thread and the period of publishing.
///
/// The creator of an engine calls SetSelf directly after the constructor, before the first property
/// is added; changes of a property that is added earlier are not queued. The other operations are
/// thread-safe.
class PropertyEngineBase : public MessageVisitor, public LocalPropertySink {
public:
    /// The group GUID and the GUID of a property.
    using PropertyName = std::pair<std::string, std::string>;

    /// Gives the engine a weak reference to itself, which the callbacks on properties keep, so that
    /// a property may outlive the engine.
    void SetSelf(const std::shared_ptr<PropertyEngineBase>& owner) { self = owner; }

    /// Publishes the property at the next end of a period, and again after each change, or at each
    /// end of a period if it was named periodic before. Doesn't block for a peer.
    void AddProperty(std::shared_ptr<Property> property) override;
    /// Makes a property periodic: it is published at each end of a period, and not after a change.
    /// Has no effect on a property that has been added already. The hub has no periodic property;
    /// this is for one that changes all the time, such as a clock.
    virtual void AddPeriodicProperty(PropertyName name);
    /// Publishes the withdrawal of the property at the next end of a period.
    void RetireProperty(std::shared_ptr<Property> property) override;

protected:
    PropertyEngineBase(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                       std::uint32_t priority, std::shared_ptr<Property> component);

    /// Starts the publishing thread. If the system can't create it, the engine publishes nothing,
    /// and WaitForPublishLoop returns at once.
    virtual void StartPublishing();
    /// The body of the publishing thread.
    virtual void PublishLoop() = 0;
    /// Blocks until PublishLoop has returned. The destructor of the class that implements the loop
    /// calls it after it has asked the loop to end.
    void WaitForPublishLoop();

    void EnqueueLocalChange(const std::shared_ptr<Property>& changed) {
        localChanges.Push(changed);
    }
    PropertyCatalog& Catalog() const { return *store; }
    const Property& OwnComponent() const { return *ownComponent; }
    std::weak_ptr<PropertyEngineBase> Self() const { return self; }
    /// Returns the length of the publishing period in ticks, at least 1.
    std::uint32_t TicksInPeriod() const;

    RecordOwner LocalOwner() const { return {ownComponent->Guid(), ownComponent->Name()}; }
    /// Appends a record of each local property that has changed since the last call.
    void AppendLocalChanges(PendingRecords& pending);
    /// Returns the properties that were retired since the last call.
    [[nodiscard]] std::vector<std::shared_ptr<Property>> TakeRetired();
    /// Appends a record of each periodic property.
    void AppendPeriodicProperties(PendingRecords& pending);
    PendingRecord LocalRecord(std::shared_ptr<Property> property, KeptText::Shared text,
                              bool isWithdrawal) const;
    const ExternalRights& Rights() const { return rights; }

private:
    std::weak_ptr<PropertyEngineBase> self;
    const std::shared_ptr<PropertyStore> store;
    Mutex namesLock;
    std::vector<PropertyName> periodicNames GUARDED_BY(namesLock);
    Mutex periodicLock;
    std::vector<std::shared_ptr<Property>> periodicProperties GUARDED_BY(periodicLock);
    Mutex retiredLock;
    std::vector<std::shared_ptr<Property>> retiredProperties GUARDED_BY(retiredLock);
    const std::unique_ptr<Thread> publishThread;
    Event publishLoopEnded{false};
    const std::shared_ptr<UInt32Property> publishPeriod;
    ChangeQueue localChanges;
    const std::shared_ptr<Property> ownComponent;
    const ExternalRights rights;
};

}  // namespace vantry
