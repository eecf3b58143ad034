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
/// A new value of the period takes effect at the end of the running one, unless that is longer than
/// this minute.
constexpr std::uint32_t kLongPeriodTicks = 60'000 / kPublishTickMilliseconds;

}  // namespace

void PropertyEngine::PublishLoop() {
    std::uint32_t period = TicksInPeriod();
    std::uint32_t elapsed = 0;
    std::deque<PropertyResponse> pending;
    while (!stopEvent.Wait(kPublishTickMilliseconds)) {
        DropDeadSubscribers();
        CollectChanges(pending);
        ++elapsed;
        if (period > kLongPeriodTicks) {
            // So that a mistaken value can be corrected without waiting for its end.
            period = TicksInPeriod();
        }
        if (elapsed >= period || pending.size() >= kMostPending) {
            AppendPeriodicProperties(pending);
            if (!pending.empty()) {
                Publish(pending);
            }
            period = TicksInPeriod();
            elapsed = 0;
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
    // Taken before the changes, so that no change is popped behind the withdrawal that followed it.
    const std::vector<std::shared_ptr<Property>> localRetired = TakeRetired();
    std::vector<std::shared_ptr<RemoteProperty>> remotesGone;
    {
        ScopedLock guard(remoteRetiredLock);
        remotesGone.swap(remoteRetired);
    }
    AppendLocalChanges(pending);
    AppendRemoteChanges(pending);
    for (const std::shared_ptr<Property>& retired : localRetired) {
        pending.push_back(LocalRecord(*retired, Status::kNoLongerAvailable));
    }
    for (const std::shared_ptr<RemoteProperty>& retired : remotesGone) {
        pending.push_back(MakeRemoteRecord(*retired, Status::kNoLongerAvailable));
    }
}

void PropertyEngine::AppendRemoteChanges(std::deque<PropertyResponse>& records) {
    while (const std::shared_ptr<Property> changed = remoteChanges.Pop()) {
        records.push_back(
            MakeRemoteRecord(static_cast<const RemoteProperty&>(*changed), Status::kSuccessful));
    }
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
