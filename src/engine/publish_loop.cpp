// The publishing thread: four times a second it drops the subscribers whose stream has died and
// turns everything that has changed into records, and at the end of each period it gives the
// records to the subscribers, in one message for each.

#include "engine/fan_out.h"
#include "engine/property_engine.h"
#include "engine/publish_tick.h"
#include "engine/record_builder.h"

namespace vantry {
namespace {

/// So many records end a period early: nothing else bounds what waits for a long one.
constexpr std::size_t kMostPending = 20'000;

}  // namespace

void PropertyEngine::PublishLoop() {
    std::uint32_t ticks = TicksInPeriod();
    std::deque<PropertyResponse> pending;
    while (!stopEvent.Wait(kPublishTickMilliseconds)) {
        DropDeadSubscribers();
        CollectChanges(pending);
        --ticks;
        if (ticks == 0 || pending.size() >= kMostPending) {
            AppendPeriodicProperties(pending);
            if (!pending.empty()) {
                Publish(pending);
            }
            ticks = TicksInPeriod();
        }
    }
}

void PropertyEngine::DropDeadSubscribers() {
    ScopedLock guard(subscribersLock);
    for (auto subscriber = subscribers.begin(); subscriber != subscribers.end();) {
        if (subscriber->Peer().IsAlive() != 0) {
            ++subscriber;
            continue;
        }
        const Lock sendLock = subscriber->SendLock();
        ScopedLock sendGuard(sendLock);
        subscriber->Peer().Close();
        subscriber = subscribers.erase(subscriber);
    }
}

void PropertyEngine::CollectChanges(std::deque<PropertyResponse>& pending) {
    AppendLocalChanges(pending);
    AppendRemoteChanges(pending);
    AppendLocalWithdrawals(pending);
    AppendRemoteWithdrawals(pending);
}

void PropertyEngine::AppendRemoteChanges(std::deque<PropertyResponse>& records) {
    while (const std::shared_ptr<Property> changed = remoteChanges.Pop()) {
        records.push_back(
            MakeRemoteRecord(static_cast<const RemoteProperty&>(*changed), Status::kSuccessful));
    }
}

void PropertyEngine::AppendRemoteWithdrawals(std::deque<PropertyResponse>& records) {
    ScopedLock guard(remoteRetiredLock);
    for (const std::shared_ptr<RemoteProperty>& retired : remoteRetired) {
        records.push_back(MakeRemoteRecord(*retired, Status::kNoLongerAvailable));
    }
    remoteRetired.clear();
}

void PropertyEngine::Publish(std::deque<PropertyResponse>& pending) {
    ScopedLock guard(subscribersLock);
    ScopedLock retiredGuard(retiredLock);
    FanOut fanOut(std::exchange(pending, {}), rights);
    for (auto subscriber = subscribers.begin(); subscriber != subscribers.end() && !stopping;) {
        // A stream that can't take the message loses its subscription, and nothing else.
        subscriber = fanOut.SendTo(*subscriber) ? subscriber + 1 : subscribers.erase(subscriber);
    }
}

}  // namespace vantry
