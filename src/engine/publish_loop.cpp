// The publishing thread. Once in each tick it removes the subscribers whose stream has ended,
// withdraws the properties of closed connections, and makes records of all changes. At the end of
// each period it sends the records to the subscribers, in one message for each subscriber. While it
// writes, it holds the send lock of that stream and no other lock.

#include <algorithm>
#include <memory_resource>
#include <unordered_map>
#include <vector>

#include "engine/fan_out.h"
#include "engine/property_engine.h"
#include "engine/publish_tick.h"
#include "engine/record_texts.h"
#include "platform/freed_memory.h"

namespace vantry {
namespace {

/// A period ends early when its records reach this number of bytes, or the bound on their count;
/// otherwise the records of a long period would have no bound.
constexpr std::uint64_t kMostPendingBytes = 32U << 20U;
/// A new value of the period takes effect at the end of the running period, or at the next tick if
/// that period is longer than one minute.
constexpr std::uint32_t kLongPeriodTicks = 60'000 / kPublishTickMilliseconds;
/// What the map of the texts needs for each change, so that it is one block of memory.
constexpr std::size_t kBytesOfChange = 64;

/// Gives memory back after much of it was freed, which those who free it can't do: they don't know
/// whether it will be needed again at once.
class FreedMemory {
public:
    /// Called in each tick.
    void ReturnIfMuch(const Accounting& accounting) {
        constexpr std::uint64_t kMuch = 16U << 20U;
        constexpr std::uint32_t kLeastTicks = 2'000 / kPublishTickMilliseconds;
        const std::uint64_t held =
            accounting.Total(Resource::PropertyText) + accounting.Total(Resource::Output) +
            accounting.Total(Resource::ReceivedText) + accounting.Total(Resource::Answer);
        most = std::max(most, held);
        if (++ticks >= kLeastTicks && most - held >= kMuch) {
            ReturnFreedMemory();
            most = held;
            ticks = 0;
        }
    }

private:
    std::uint64_t most = 0;
    std::uint32_t ticks = 0;
};

}  // namespace

void PropertyEngine::PublishLoop() {
    const Limits& limits = accounting->Bounds();
    std::uint32_t period = TicksInPeriod();
    std::uint32_t elapsed = 0;
    PendingRecords pending;
    FreedMemory freedMemory;
    while (!stopEvent.Wait(kPublishTickMilliseconds)) {
        DropGoneSubscribers();
        WithdrawOfCutOwners();
        CollectChanges(pending);
        ++elapsed;
        if (period > kLongPeriodTicks) {
            // A mistaken value can then be corrected without waiting for the end of the period.
            period = TicksInPeriod();
        }
        if (elapsed >= period || pending.Count() >= limits[Bound::WaitingRecords] ||
            pending.TextBytes() >= kMostPendingBytes || ExceededTwice()) {
            AppendPeriodicProperties(pending);
            if (!pending.Empty()) {
                Publish(pending);
            }
            period = TicksInPeriod();
            elapsed = 0;
        }
        roomMade.WakeAll();
        freedMemory.ReturnIfMuch(*accounting);
        ShowStatus();
    }
}

void PropertyEngine::DropGoneSubscribers() {
    std::vector<std::shared_ptr<Subscriber>> gone;
    {
        ScopedLock guard(subscribersLock);
        const auto isHere = [](const std::shared_ptr<Subscriber>& subscriber) {
            return !subscriber->IsGone();
        };
        const auto firstGone =
            std::stable_partition(subscribers.begin(), subscribers.end(), isHere);
        gone.assign(firstGone, subscribers.end());
        subscribers.erase(firstGone, subscribers.end());
    }
    for (const std::shared_ptr<Subscriber>& subscriber : gone) {
        subscriber->End();
    }
}

void PropertyEngine::CollectChanges(PendingRecords& pending) {
    // Retired properties are taken before the changes, so that no withdrawal is published before a
    // change that precedes it.
    const std::vector<std::shared_ptr<Property>> localRetired = TakeRetired();
    std::vector<std::shared_ptr<RemoteProperty>> remotesGone;
    {
        ScopedLock guard(remoteRetiredLock);
        remotesGone.swap(remoteRetired);
    }
    AppendLocalChanges(pending);
    AppendRemoteChanges(pending);
    for (const std::shared_ptr<Property>& retired : localRetired) {
        pending.Add(LocalRecord(retired, WithdrawalTextOf(*retired, LocalOwner()), true));
    }
    for (const std::shared_ptr<RemoteProperty>& retired : remotesGone) {
        pending.Add({.text = WithdrawalTextOf(*retired, OwnerOf(*retired)),
                     .component = retired->component,
                     .passesOutside = true,
                     .isWithdrawal = true,
                     .property = retired});
        PublishIfMuch(pending);
    }
}

bool PropertyEngine::PublishIfMuch(PendingRecords& pending) {
    // Values that change while their texts are made can have more text than all of them have at any
    // moment, so the texts are published and released before more are made.
    if (pending.TextBytes() < kMostPendingBytes) {
        return false;
    }
    Publish(pending);
    return true;
}

void PropertyEngine::AppendRemoteChanges(PendingRecords& pending) {
    const std::vector<std::shared_ptr<Property>> changes = remoteChanges.TakeAll();
    if (changes.empty()) {
        return;
    }
    // Each property has one text here, however often its value changes meanwhile.
    std::pmr::monotonic_buffer_resource memory(changes.size() * kBytesOfChange);
    std::pmr::unordered_map<const Property*, KeptText::Shared> texts(&memory);
    texts.reserve(changes.size());
    bool isMuch = false;
    for (const std::shared_ptr<Property>& changed : changes) {
        const auto& property = static_cast<const RemoteProperty&>(*changed);
        const auto [text, isFirst] = texts.try_emplace(&property);
        if (isFirst) {
            text->second = RecordTextOf(property, OwnerOf(property));
        } else if (isMuch) {
            // A long record for each of many changes would make a message of any size.
            continue;
        }
        pending.Add({.text = text->second,
                     .component = property.component,
                     .passesOutside = property.passesOutside,
                     .isWithdrawal = false,
                     .property = changed});
        if (PublishIfMuch(pending)) {
            isMuch = true;
            for (auto& [key, released] : texts) {
                released.reset();
            }
        }
    }
}

void PropertyEngine::Publish(PendingRecords& pending) {
    FanOut fanOut(pending.TakeAll());
    {
        ScopedLock guard(subscribersLock);
        for (const std::shared_ptr<Subscriber>& subscriber : subscribers) {
            fanOut.Choose(subscriber);
        }
    }
    const std::vector<std::shared_ptr<Subscriber>> failed = fanOut.Send(stopping);
    if (failed.empty()) {
        return;
    }
    // A stream that doesn't accept the whole message only loses its subscription.
    ScopedLock guard(subscribersLock);
    std::erase_if(subscribers, [&](const std::shared_ptr<Subscriber>& subscriber) {
        return std::find(failed.begin(), failed.end(), subscriber) != failed.end();
    });
}

void PropertyEngine::ShowStatus() {
    platform.status.properties = static_cast<std::uint32_t>(Catalog().Size() + remoteTable.Size());
    ++platform.status.publishingTurns;
    platform.notices.TellLeftOut();
}

}  // namespace vantry
