#include "engine/property_engine_base.h"

#include <algorithm>

#include "engine/publish_tick.h"
#include "engine/record_builder.h"
#include "property/property_factories.h"
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
          priority)),
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
    // A period below one tick is one tick.
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

PropertyResponse PropertyEngineBase::LocalRecord(const Property& property,
                                                 std::string_view status) const {
    return MakeLocalRecord(property, *ownComponent, status);
}

void PropertyEngineBase::AppendLocalChanges(std::deque<PropertyResponse>& records) {
    while (const std::shared_ptr<Property> changed = localChanges.Pop()) {
        records.push_back(LocalRecord(*changed, Status::kSuccessful));
    }
}

std::vector<std::shared_ptr<Property>> PropertyEngineBase::TakeRetired() {
    ScopedLock guard(retiredLock);
    return std::exchange(retiredProperties, {});
}

void PropertyEngineBase::AppendPeriodicProperties(std::deque<PropertyResponse>& records) {
    ScopedLock guard(periodicLock);
    for (const std::shared_ptr<Property>& property : periodicProperties) {
        records.push_back(LocalRecord(*property, Status::kSuccessful));
    }
}

bool PropertyEngineBase::AppendLocalGroup(const std::string& groupGuid,
                                          std::deque<PropertyResponse>& records) {
    std::deque<std::shared_ptr<Property>> members;
    store->ListGroup(members, groupGuid);
    for (const std::shared_ptr<Property>& member : members) {
        records.push_back(LocalRecord(*member, Status::kSuccessful));
    }
    return !members.empty();
}

bool PropertyEngineBase::AppendLocalProperty(const PropertyRequest& request,
                                             std::deque<PropertyResponse>& records) {
    const std::shared_ptr<Property> found = store->FindProperty(request.guid, request.groupGuid);
    if (found) {
        records.push_back(LocalRecord(*found, Status::kSuccessful));
    }
    return found != nullptr;
}

void PropertyEngineBase::GetProperties(const std::deque<PropertyRequest>& requests,
                                       std::deque<PropertyResponse>& responses) {
    for (const PropertyRequest& request : requests) {
        const bool found = request.guid.empty() ? AppendLocalGroup(request.groupGuid, responses)
                                                : AppendLocalProperty(request, responses);
        if (!found) {
            responses.push_back(MakeFailureResponse(request, Status::kNotFound));
        }
    }
}

void PropertyEngineBase::GetEveryProperty(std::deque<PropertyResponse>& responses) {
    std::deque<std::shared_ptr<Property>> properties;
    store->ListProperties(properties);
    for (const std::shared_ptr<Property>& property : properties) {
        responses.push_back(LocalRecord(*property, Status::kSuccessful));
    }
}

}  // namespace vantry
