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

/// The half of the engine that knows the properties of this process: how they are read, how their
/// changes are queued, and the thread and the period of publishing.
///
/// Whoever makes an engine calls SetSelf right behind its constructor, before the first property
/// arrives. Any thread may call the operations.
class PropertyEngineBase : public MessageVisitor, public LocalPropertySink {
public:
    /// The group GUID and the GUID of a property.
    using PropertyName = std::pair<std::string, std::string>;

    void SetSelf(const std::shared_ptr<PropertyEngineBase>& owner) { self = owner; }

    /// Publishes the property now, and from then on at each change, or at each end of a period if
    /// it was named periodic before.
    void AddProperty(std::shared_ptr<Property> property) override;
    /// Names a property to be published by the clock and not by change. It must be named before it
    /// is added.
    virtual void AddPeriodicProperty(PropertyName name);
    /// Tells subscribers at the next tick that the property is gone.
    void RetireProperty(std::shared_ptr<Property> property) override;

protected:
    PropertyEngineBase(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                       std::uint32_t priority, std::shared_ptr<Property> component);

    virtual void StartPublishing();
    /// The body of the publishing thread.
    virtual void PublishLoop() = 0;
    /// Waits until PublishLoop, which must have been told to, has ended. For the destructor of the
    /// class that has the loop.
    void WaitForPublishLoop();

    void EnqueueLocalChange(const std::shared_ptr<Property>& changed) {
        localChanges.Push(changed);
    }
    PropertyCatalog& Catalog() const { return *store; }
    const Property& OwnComponent() const { return *ownComponent; }
    std::weak_ptr<PropertyEngineBase> Self() const { return self; }
    std::uint32_t TicksInPeriod() const;

    RecordOwner LocalOwner() const { return {ownComponent->Guid(), ownComponent->Name()}; }
    /// Append what is to be told of local properties at a tick, and at the end of a period.
    void AppendLocalChanges(PendingRecords& pending);
    /// Takes out what has gone since the last time.
    std::vector<std::shared_ptr<Property>> TakeRetired();
    void AppendPeriodicProperties(PendingRecords& pending);
    PendingRecord LocalRecord(std::shared_ptr<Property> property, KeptText::Shared text,
                              bool isWithdrawal) const;
    const ExternalRights& Rights() const { return rights; }

private:
    std::weak_ptr<PropertyEngineBase> self;
    const std::shared_ptr<PropertyStore> store;
    Lock namesLock;
    std::vector<PropertyName> periodicNames GUARDED_BY(namesLock);
    Lock periodicLock;
    std::vector<std::shared_ptr<Property>> periodicProperties GUARDED_BY(periodicLock);
    Lock retiredLock;
    std::vector<std::shared_ptr<Property>> retiredProperties GUARDED_BY(retiredLock);
    const std::unique_ptr<Thread> publishThread;
    Event publishLoopEnded{false};
    const std::shared_ptr<UInt32Property> publishPeriod;
    ChangeQueue localChanges;
    const std::shared_ptr<Property> ownComponent;
    const ExternalRights rights;
};

}  // namespace vantry
