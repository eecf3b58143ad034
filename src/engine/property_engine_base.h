#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/change_queue.h"
#include "property/uint32_property.h"
#include "runtime/thread_reaper.h"
#include "store/local_property_sink.h"
#include "store/property_store.h"
#include "transport/session/message_visitor.h"
#include "wire/property_message.h"

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

    /// Appends what the requests find, in their order.
    virtual void GetProperties(const std::deque<PropertyRequest>& requests,
                               std::deque<PropertyResponse>& responses);
    virtual void GetEveryProperty(std::deque<PropertyResponse>& responses);
    /// Does what the request says, and writes at most one reply. 0 ends the session.
    virtual std::uint32_t HandleMessage(std::shared_ptr<Stream> stream,
                                        std::unique_ptr<PropertyMessage> request,
                                        std::unique_ptr<PropertyMessage> reply) = 0;

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

    PropertyResponse LocalRecord(const Property& property, std::string_view status) const;
    /// Append what is to be told of local properties at a tick, and at the end of a period.
    void AppendLocalChanges(std::deque<PropertyResponse>& records);
    /// Takes out what has gone since the last time.
    std::vector<std::shared_ptr<Property>> TakeRetired();
    void AppendPeriodicProperties(std::deque<PropertyResponse>& records);
    /// Appends the properties of a group; false if there are none.
    bool AppendLocalGroup(const std::string& groupGuid, std::deque<PropertyResponse>& records);
    /// Appends the property that the request names; false if there is none.
    bool AppendLocalProperty(const PropertyRequest& request, std::deque<PropertyResponse>& records);

    /// Held across a whole fan-out too.
    Lock retiredLock;

private:
    std::weak_ptr<PropertyEngineBase> self;
    const std::shared_ptr<PropertyStore> store;
    Lock namesLock;
    std::vector<PropertyName> periodicNames GUARDED_BY(namesLock);
    Lock periodicLock;
    std::vector<std::shared_ptr<Property>> periodicProperties GUARDED_BY(periodicLock);
    std::vector<std::shared_ptr<Property>> retiredProperties GUARDED_BY(retiredLock);
    const std::unique_ptr<Thread> publishThread;
    Event publishLoopEnded{false};
    const std::shared_ptr<UInt32Property> publishPeriod;
    ChangeQueue localChanges;
    const std::shared_ptr<Property> ownComponent;
};

}  // namespace vantry
