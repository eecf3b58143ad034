// The hub's own properties in the engine. Each property gets a callback that pushes it to the queue
// of changes, or is one of the periodic properties, which have none. AddProperty runs as a whole
// with namesLock held, so that a property can't be named periodic while it is added. The callbacks
// refer to the engine weakly, because properties may outlive it.
//
// The thread of publishing is created here and runs PublishLoop of the derived class, whose
// destructor must wait for it: when the destructor of this class runs, the loop no longer exists.

#include "engine/property_engine_base.h"

#include <algorithm>

#include "engine/publish_tick.h"
#include "property/property_factories.h"
#include "wire/key/property_key.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

constexpr std::uint32_t kDefaultPeriodMilliseconds = 500;
constexpr std::size_t kUsualPeriodic = 25;

}  // namespace

PropertyEngineBase::PropertyEngineBase(std::shared_ptr<PropertyStore> propertyStore,
                                       ThreadReaper& reaper, std::uint32_t priority,
                                       std::shared_ptr<Property> component)
    : store(std::move(propertyStore)),
      publishThread(reaper.MakeThread(
          [](void* engine) -> std::uint32_t {
              auto& base = *static_cast<PropertyEngineBase*>(engine);
              base.PublishLoop();
              base.publishLoopEnded.Set();
              return 0;
          },
          priority, "publishing")),
      publishPeriod(
          MakeUInt32Property(kDefaultPeriodMilliseconds,
                             IdentityOf(HubProperties::kPublishingPeriod, Groups::kGeneral))),
      ownComponent(std::move(component)) {
    periodicNames.reserve(kUsualPeriodic);
    periodicProperties.reserve(kUsualPeriodic);
    store->RegisterProperty(publishPeriod);
}

void PropertyEngineBase::StartPublishing() {
    if (!publishThread->Start(this)) {
        publishLoopEnded.Set();
    }
}

void PropertyEngineBase::WaitForPublishLoop() {
    publishLoopEnded.Wait();
    publishThread->Stop();
}

std::uint32_t PropertyEngineBase::TicksInPeriod() const {
    // A period shorter than one tick counts as one tick.
    return std::max<std::uint32_t>(1, publishPeriod->Value() / kPublishTickMilliseconds);
}

void PropertyEngineBase::AddProperty(std::shared_ptr<Property> property) {
    ScopedLock guard(namesLock);
    const PropertyName name(property->GroupGuid(), property->Guid());
    if (std::find(periodicNames.begin(), periodicNames.end(), name) == periodicNames.end()) {
        property->AddChangedCallback([engine = Self()](const std::shared_ptr<Property>& changed) {
            if (const std::shared_ptr<PropertyEngineBase> alive = engine.lock()) {
                alive->EnqueueLocalChange(changed);
            }
        });
    } else {
        ScopedLock periodicGuard(periodicLock);
        periodicProperties.push_back(property);
    }
    EnqueueLocalChange(property);
}

void PropertyEngineBase::AddPeriodicProperty(PropertyName name) {
    ScopedLock guard(namesLock);
    if (std::find(periodicNames.begin(), periodicNames.end(), name) == periodicNames.end()) {
        periodicNames.push_back(std::move(name));
    }
}

void PropertyEngineBase::RetireProperty(std::shared_ptr<Property> property) {
    ScopedLock guard(retiredLock);
    retiredProperties.push_back(std::move(property));
}

PendingRecord PropertyEngineBase::LocalRecord(std::shared_ptr<Property> property,
                                              KeptText::Shared text, bool isWithdrawal) const {
    return {.text = std::move(text),
            .component = ownComponent->Guid(),
            .passesOutside = isWithdrawal || rights.MaySee(property->GroupGuid()),
            .isWithdrawal = isWithdrawal,
            .property = std::move(property)};
}

void PropertyEngineBase::AppendLocalChanges(PendingRecords& pending) {
    for (const std::shared_ptr<Property>& changed : localChanges.TakeAll()) {
        pending.Add(LocalRecord(changed, RecordTextOf(*changed, LocalOwner()), false));
    }
}

std::vector<std::shared_ptr<Property>> PropertyEngineBase::TakeRetired() {
    ScopedLock guard(retiredLock);
    return std::exchange(retiredProperties, {});
}

void PropertyEngineBase::AppendPeriodicProperties(PendingRecords& pending) {
    ScopedLock guard(periodicLock);
    for (const std::shared_ptr<Property>& property : periodicProperties) {
        pending.Add(LocalRecord(property, RecordTextOf(*property, LocalOwner()), false));
    }
}

}  // namespace vantry
