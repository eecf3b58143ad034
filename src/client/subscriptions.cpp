// Subscriptions over one connection.
//
// The channel's thread only receives; a worker does the rest, in the order in which messages came:
// it finds out what is news (see Picture), reads again what is doubtful, and calls the callbacks.
// The hub knows lists and everything; groups are sifted here. A new subscription to a list is added
// to the connection; one to everything, on a connection that has only lists, needs a fresh one. The
// hub forgets a listed property that is withdrawn, so that is subscribed to once more.
//
// The hub may drop changes in a burst, so everything is read again from time to time and after each
// long message, over the connection for questions.

#include "client/subscriptions.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "client/records.h"
#include "client/travel.h"
#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// So many messages wait for slow callbacks; then no more is received, and the hub waits or gives
/// this subscriber up, which costs nothing but time: what was missed is found by reading.
constexpr std::size_t kMostWaiting = 64;
/// A message with so many records may be one of a burst, in which the hub has dropped some.
constexpr std::size_t kLongMessage = 250;

bool WantsEverything(const Interest& interest) {
    return interest.everything || !interest.groups.empty();
}

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
            NoteRecovery();  // Nothing was asked for, so nothing will come.
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
    // It is undone when the hub has said something over a fresh connection.
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
        wish.everything = wish.everything || WantsEverything(entry->interest);
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
        // The hub would take an empty list for everything, and of none there is no part.
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

void Subscriptions::Introduce(const std::shared_ptr<Entry>& entry) {
    const std::vector<std::shared_ptr<Entry>> all = Entries();
    const bool isAlone =
        std::none_of(all.begin(), all.end(), [](const auto& other) { return other->hasJoined; });
    entry->hasJoined = true;
    if (isAlone) {
        picture.Clear();  // Nobody has kept it up to date.
    }
    for (const Property& property : picture.Present(entry->interest)) {
        Call(*entry, property);
    }
    for (const PropertyId& id : entry->interest.ids) {
        if (!picture.Knows(id)) {
            picture.Await(id);
        }
    }
    const bool widens = WantsEverything(entry->interest) && !present.everything;
    if (widens || isAlone) {
        if (WantsEverything(entry->interest)) {
            picture.AwaitEverything();
        }
        if (isConnected) {
            isDeliberate = true;
            channel.Restart();
        }
        return;
    }
    SubscribeToMissing(entry->interest);
}

void Subscriptions::Renew(Wish wish) {
    isConnected = true;
    present = std::move(wish);
    unanswered = present.everything ? std::set<PropertyId>() : present.ids;
    for (const std::shared_ptr<Entry>& entry : Entries()) {
        if (entry->hasJoined && WantsEverything(entry->interest) && !present.everything) {
            isDeliberate = true;
            channel.Restart();
            return;
        }
        if (entry->hasJoined) {
            SubscribeToMissing(entry->interest);
        }
    }
}

void Subscriptions::SubscribeToMissing(const Interest& interest) {
    std::set<PropertyId> missing;
    for (const PropertyId& id : interest.ids) {
        if (!present.everything && !present.ids.contains(id) && CheckId(id)) {
            missing.insert(id);
        }
    }
    Subscribe(missing);
}

void Subscriptions::Subscribe(const std::set<PropertyId>& ids) {
    std::deque<PropertyRequest> requests;
    for (const PropertyId& id : ids) {
        requests.push_back(RequestFor(id));
    }
    for (const std::deque<PropertyRequest>& part : InParts(std::move(requests))) {
        PropertyMessage message;
        message.AddSubscribeRequests(part);
        if (!channel.Send(message, Deadline::In(timing.deadlineMilliseconds))) {
            return;  // The next connection asks for everything that is missing.
        }
    }
    present.ids.insert(ids.begin(), ids.end());
    unanswered.insert(ids.begin(), ids.end());
}

void Subscriptions::Take(const PropertyMessage& message) {
    std::deque<PropertyResponse> records;
    message.DecodeGetResponses(records);
    const std::size_t count = records.size();
    if (message.HasSection(Section::kGetAllResponse)) {
        Deliver(picture.TakeEverything(std::move(records)));
        return;
    }
    // An answer to a list looks like a publication, but for the properties that it was asked for.
    const auto isAnswer = [&](const PropertyResponse& record) {
        return record.status == Status::kNotFound ||
               (record.status == Status::kSuccessful &&
                unanswered.contains({record.component, record.groupGuid, record.guid}));
    };
    std::deque<PropertyResponse> answers;
    std::deque<PropertyResponse> published;
    for (PropertyResponse& record : records) {
        if (isAnswer(record)) {
            unanswered.erase({record.component, record.groupGuid, record.guid});
            answers.push_back(std::move(record));
        } else if (present.everything ||
                   present.ids.contains({record.component, record.groupGuid, record.guid})) {
            published.push_back(std::move(record));
        }
    }
    Deliver(picture.TakeRead(std::move(answers)));
    TakePublication(std::move(published));
    if (count >= kLongMessage && surroundings.reconcileMilliseconds != 0) {
        Reconcile();
    }
}

void Subscriptions::TakePublication(std::deque<PropertyResponse> records) {
    std::set<PropertyId> gone;
    for (const PropertyResponse& record : records) {
        if (!present.everything && record.status != Status::kSuccessful) {
            gone.insert({record.component, record.groupGuid, record.guid});
        }
    }
    auto read = surroundings.requester.AskAll(picture.ToBeRead(records),
                                              Deadline::In(timing.deadlineMilliseconds));
    Deliver(picture.TakePublication(std::move(records),
                                    read ? std::move(*read) : std::deque<PropertyResponse>()));
    // The hub has forgotten the entries, and the properties may come back.
    Subscribe(gone);
}

void Subscriptions::Reconcile() {
    if (Entries().empty()) {
        return;
    }
    const Deadline deadline = Deadline::In(timing.deadlineMilliseconds);
    if (present.everything) {
        if (auto records = surroundings.requester.Ask(Question::Everything(), deadline)) {
            Deliver(picture.TakeEverything(std::move(*records)));
        }
        return;
    }
    std::deque<PropertyRequest> requests;
    for (const PropertyId& id : present.ids) {
        requests.push_back(RequestFor(id));
    }
    if (auto records = surroundings.requester.AskAll(std::move(requests), deadline)) {
        Deliver(picture.TakeRead(std::move(*records)));
    }
}

void Subscriptions::Deliver(const std::vector<Property>& news) {
    if (news.empty()) {
        return;
    }
    const std::vector<std::shared_ptr<Entry>> all = Entries();
    for (const Property& property : news) {
        for (const std::shared_ptr<Entry>& entry : all) {
            if (entry->hasJoined && entry->interest.Covers(property.id)) {
                Call(*entry, property);
            }
        }
    }
}

void Subscriptions::Call(Entry& entry, const Property& property) {
    ScopedLock guard(entry.running);
    if (entry.hasEnded) {
        return;
    }
    try {
        entry.callback(property);
    } catch (const std::exception& problem) {
        surroundings.onError(
            {ErrorCode::Refused, std::string("a callback failed: ") + problem.what()});
    }
}

}  // namespace vantry::client
