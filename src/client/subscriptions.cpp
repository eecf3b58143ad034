// The subscriptions of a Hub and their connection.
//
// The thread of the channel only receives. A worker processes the messages in their order; its
// half of the class is in subscriptions_worker.cpp. The connection is opened with the first
// subscription. When it is restored, the hub is asked for the sum of what the subscriptions want at
// that time, which is either a list of properties or everything.

#include "client/subscriptions.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "client/records.h"
#include "client/travel.h"
#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// When this many messages wait for slow callbacks, no more messages are received. The hub then
/// waits or drops this subscriber; the changes that are missed are found by reading again.
constexpr std::size_t kMostWaiting = 64;

}  // namespace

Subscriptions::Subscriptions(const Endpoint& endpoint, const ChannelTiming& waits,
                             Surroundings around)
    : timing(waits),
      surroundings(std::move(around)),
      channel(endpoint, waits,
              {.restore = [this](FrameSocket& socket) { return Restore(socket); },
               .onMessage = [this](auto message) { OnMessage(std::move(message)); },
               .onState = [this](bool isUp) { OnState(isUp); },
               .onFailure = [this](const Error&) { NoteLoss(); }}) {}

Subscriptions::~Subscriptions() { Stop(); }

void Subscriptions::Stop() {
    worker.Stop();
    channel.Stop();
}

void Subscriptions::OnState(bool isUp) {
    if (isUp) {
        if (!asked.everything && asked.ids.empty()) {
            NoteRecovery();  // Without a request the hub sends nothing that could show recovery.
        }
        worker.Post([this, wish = asked] { Renew(wish); });
    } else if (!isDeliberate) {
        NoteLoss();
    }
}

void Subscriptions::NoteRecovery() {
    isDeliberate = false;
    if (lost.exchange(false)) {
        surroundings.onState();
    }
}

void Subscriptions::NoteLoss() {
    // NoteRecovery undoes this when a message has arrived over a new connection.
    if (!lost.exchange(true)) {
        surroundings.onState();
    }
}

std::uint64_t Subscriptions::Add(Interest interest, ChangeCallback callback) {
    auto entry = std::make_shared<Entry>();
    entry->interest = std::move(interest);
    entry->callback = std::move(callback);
    bool start = false;
    std::uint64_t number = 0;
    {
        ScopedLock guard(lock);
        number = ++lastNumber;
        entries[number] = entry;
        start = !std::exchange(hasStarted, true);
    }
    worker.Post([this, entry] { Introduce(entry); });
    if (start && (!worker.Start(surroundings.reconcileMilliseconds, [this] { Reconcile(); }) ||
                  !channel.Start())) {
        surroundings.onError({ErrorCode::NoConnection, "the system has no thread to give"});
    }
    return number;
}

void Subscriptions::Remove(std::uint64_t number) {
    std::shared_ptr<Entry> entry;
    {
        ScopedLock guard(lock);
        const auto found = entries.find(number);
        if (found == entries.end()) {
            return;
        }
        entry = std::move(found->second);
        entries.erase(found);
    }
    entry->hasEnded = true;
    ScopedLock untilItReturns(entry->running);
}

std::vector<std::shared_ptr<Subscriptions::Entry>> Subscriptions::Entries() {
    std::vector<std::shared_ptr<Entry>> all;
    ScopedLock guard(lock);
    for (const auto& [number, entry] : entries) {
        all.push_back(entry);
    }
    return all;
}

Subscriptions::Wish Subscriptions::Wanted() {
    Wish wish;
    for (const std::shared_ptr<Entry>& entry : Entries()) {
        wish.everything = wish.everything || entry->interest.NeedsEverything();
        wish.ids.insert(entry->interest.ids.begin(), entry->interest.ids.end());
    }
    std::erase_if(wish.ids, [](const PropertyId& id) { return !CheckId(id); });
    return wish;
}

Outcome Subscriptions::Restore(FrameSocket& socket) {
    asked = Wanted();
    const Deadline deadline = Deadline::In(timing.deadlineMilliseconds);
    Outcome sent = Done{};
    if (asked.everything) {
        PropertyMessage message;
        message.EncodeSubscribeAll();
        sent = socket.Send(message, deadline);
    } else {
        // An empty list would subscribe to everything. InParts returns no part for no entries.
        std::deque<PropertyRequest> requests;
        for (const PropertyId& id : asked.ids) {
            requests.push_back(RequestFor(id));
        }
        for (const std::deque<PropertyRequest>& part : InParts(std::move(requests))) {
            PropertyMessage message;
            message.AddSubscribeRequests(part);
            sent = sent ? socket.Send(message, deadline) : sent;
        }
    }
    return sent;
}

void Subscriptions::OnMessage(std::unique_ptr<ReceivedMessage> message) {
    NoteRecovery();
    worker.PostWithin(kMostWaiting, [this, received = std::shared_ptr(std::move(message))] {
        Take(received->message);
    });
}

}  // namespace vantry::client
