// The half of Subscriptions that runs on the worker.
//
// The worker finds out which changes a message reports (see Picture), reads doubtful values again,
// and calls the callbacks. The hub can subscribe a connection to a list or to everything; members
// of a group are selected here. A new subscription to a list is added to the present connection. A
// subscription to everything on a connection that has only a list restarts the channel, because the
// hub can't change the subscription of a connection from a list to everything. The hub removes a
// withdrawn property from the list, so this program subscribes to it again.
//
// The hub may drop changes in a burst. Therefore everything is read again at regular intervals and
// after each long message, over the connection for questions.

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "client/records.h"
#include "client/subscriptions.h"
#include "client/travel.h"
#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// A message with this many records may belong to a burst, in which the hub has dropped some.
constexpr std::size_t kLongMessage = 250;

}  // namespace

void Subscriptions::Introduce(const std::shared_ptr<Entry>& entry) {
    const std::vector<std::shared_ptr<Entry>> all = Entries();
    const bool isAlone =
        std::none_of(all.begin(), all.end(), [](const auto& other) { return other->hasJoined; });
    entry->hasJoined = true;
    if (isAlone) {
        picture.Clear();  // Without subscriptions it was not kept up to date.
    }
    for (const Property& property : picture.Present(entry->interest)) {
        Call(*entry, property);
    }
    for (const PropertyId& id : entry->interest.ids) {
        if (!picture.Knows(id)) {
            picture.Await(id);
        }
    }
    const bool widens = entry->interest.NeedsEverything() && !present.everything;
    if (widens || isAlone) {
        if (entry->interest.NeedsEverything()) {
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
        if (entry->hasJoined && entry->interest.NeedsEverything() && !present.everything) {
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
            return;  // Renew subscribes to what is missing on the next connection.
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
    // The answer to a subscription to a list has the form of a publication. It is recognised by its
    // properties, whose first values haven't arrived yet.
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
    // The hub has removed the entries from its list, and the properties may be announced again.
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

void Subscriptions::Deliver(const std::vector<Property>& changes) {
    if (changes.empty()) {
        return;
    }
    const std::vector<std::shared_ptr<Entry>> all = Entries();
    for (const Property& property : changes) {
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
