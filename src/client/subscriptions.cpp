#include "client/subscriptions.h"

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

#include "client/records.h"

namespace vantry::client {

Subscriptions::Subscriptions(const Endpoint& hubEndpoint, const ChannelTiming& waits)
    : endpoint(hubEndpoint), timing(waits) {
    channel = std::make_unique<Channel>(
        endpoint, timing,
        Channel::Callbacks{
            .restore = [this](FrameSocket& socket) { return Restore(socket); },
            .onMessage = [this](const PropertyMessage& message) { Deliver(message); },
            .onState = [](bool) {}});
}

std::uint64_t Subscriptions::Add(Interest interest, ChangeCallback callback) {
    bool start = false;
    std::uint64_t number = 0;
    {
        ScopedLock guard(lock);
        number = ++lastNumber;
        entries[number] = std::make_shared<Entry>(Entry{std::move(interest), std::move(callback)});
        start = !std::exchange(started, true);
    }
    // A fresh connection brings the present values, which the new subscriber is to hear; the hub
    // has no other way to ask for them without an answer that could be mistaken for a change.
    if (!start || !channel->Start()) {
        channel->Restart();
    }
    return number;
}

void Subscriptions::Remove(std::uint64_t number) {
    ScopedLock callbackGuard(callbackLock);
    ScopedLock guard(lock);
    entries.erase(number);
}

bool Subscriptions::WantsEverything() const {
    return std::any_of(entries.begin(), entries.end(), [](const auto& entry) {
        return entry.second->interest.everything || !entry.second->interest.groups.empty();
    });
}

PropertyMessage& Subscriptions::ListMessage(PropertyMessage& message) const {
    std::set<PropertyId> ids;
    for (const auto& [number, entry] : entries) {
        ids.insert(entry->interest.ids.begin(), entry->interest.ids.end());
    }
    std::deque<PropertyRequest> requests;
    for (const PropertyId& id : ids) {
        requests.push_back(RequestFor(id));
    }
    message.AddSubscribeRequests(requests);
    return message;
}

bool Subscriptions::Restore(FrameSocket& socket) {
    PropertyMessage message;
    {
        ScopedLock guard(lock);
        if (entries.empty()) {
            return true;  // The hub would take an empty list for everything.
        }
        hasEverything = WantsEverything();
        if (hasEverything) {
            message.EncodeSubscribeAll();
        } else {
            ListMessage(message);
        }
    }
    return static_cast<bool>(socket.Send(message, timing.deadlineMilliseconds));
}

void Subscriptions::Deliver(const PropertyMessage& message) {
    const std::vector<Property> properties = FoundIn(message);
    std::vector<std::shared_ptr<Entry>> listeners;
    bool relist = false;
    ScopedLock callbackGuard(callbackLock);
    {
        ScopedLock guard(lock);
        for (const auto& [number, entry] : entries) {
            listeners.push_back(entry);
        }
        relist = !hasEverything;
    }
    for (const Property& property : properties) {
        for (const std::shared_ptr<Entry>& listener : listeners) {
            if (listener->interest.Covers(property.id)) {
                listener->callback(property);
            }
        }
    }
    const bool anyGone = std::any_of(properties.begin(), properties.end(),
                                     [](const Property& property) { return !property.available; });
    if (relist && anyGone) {
        // The hub has forgotten the entry, and the property may come back.
        PropertyMessage again;
        {
            ScopedLock guard(lock);
            ListMessage(again);
        }
        static_cast<void>(channel->Send(again));
    }
}

}  // namespace vantry::client
