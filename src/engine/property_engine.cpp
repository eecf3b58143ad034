// The processing of a message, whose sections are processed in a fixed order. The entries of a
// section are read from the parsed tree without being copied. The reply is assembled from the kept
// texts of the records, and written with the send lock of its stream held.

#include "engine/property_engine.h"

#include <algorithm>
#include <string>
#include <utility>

namespace vantry {
namespace {

constexpr std::size_t kUsualSubscribers = 20;

}  // namespace

bool PropertyEngine::WasCut(const Stream& stream) {
    const std::shared_ptr<ConnectionAccount>& account = stream.Account();
    return account && account->WasCut();
}

PropertyEngine::PropertyEngine(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                               std::uint32_t priority, std::shared_ptr<Property> component,
                               Platform& machine)
    : PropertyEngineBase(std::move(propertyStore), reaper, priority, std::move(component)),
      platform(machine),
      accounting(machine.accounting),
      reportRights(machine.settings, OwnComponent().Guid()) {
    subscribers.reserve(kUsualSubscribers);
    StartPublishing();
}

PropertyEngine::~PropertyEngine() {
    stopping = true;
    stopEvent.Set();
    WaitForPublishLoop();
}

std::uint32_t PropertyEngine::HandleMessage(const StreamReference& stream,
                                            const RequestSections& request, Turns* turnsWhenLong) {
    const bool external = IsExternalStream(*stream);
    // The order of the sections is fixed: each step sees the effect of the steps before it.
    if (!external && request.setRequests != nullptr) {
        ApplySetRequests(request);
    }
    // The subscription is entered before its values are read; otherwise a change between the two
    // would not be reported to the subscriber.
    if (request.Subscribe()) {
        EnterSubscription(stream, request);
    }
    std::optional<Reply> reply;
    bool answers = true;
    if (request.Read()) {
        reply.emplace(*stream, request.WantEverything(), turnsWhenLong);
        answers =
            (turnsWhenLong != nullptr || reply->IsWanted()) && Answer(request, external, *reply);
        if (!answers && IsEnding(*stream)) {
            return 0;
        }
        if (!answers) {
            reply.reset();
        }
    }
    // What a peer has reported before it went still counts.
    if (request.getResponses != nullptr) {
        const bool holdsTurn = turnsWhenLong == nullptr || (reply && reply->HoldsTurn());
        TakeReports(stream, request, !holdsTurn);
    }
    if (request.disconnect != nullptr) {
        DropSubscriber(*stream);
        return 0;
    }
    if (!answers || WasCut(*stream)) {
        return 0;
    }
    return reply ? WriteReply(*stream, *reply) : 1;
}

std::uint32_t PropertyEngine::HandleReads(const StreamReference& stream,
                                          std::span<const WantedProperty> wanted,
                                          Turns* turnsWhenLong) {
    const bool external = IsExternalStream(*stream);
    Reply reply(*stream, false, turnsWhenLong);
    if (external && turnsWhenLong == nullptr && !reply.IsWanted()) {
        return 0;
    }
    for (const WantedProperty& property : wanted) {
        if (!AnswerEntry(property, external, reply)) {
            return 0;
        }
    }
    return WasCut(*stream) ? 0 : WriteReply(*stream, reply);
}

std::uint32_t PropertyEngine::HandleReports(const StreamReference& stream, PlainReports& reports,
                                            bool mayWaitForRoom) {
    bool goesOn = true;
    while (goesOn && reports.HasNext()) {
        goesOn = TakeReport(reports.Next(), stream, mayWaitForRoom);
    }
    return goesOn ? 1 : 0;
}

std::uint32_t PropertyEngine::WriteReply(Stream& stream, Reply& reply) {
    MessageFrame frame = reply.Finish();
    ScopedLock guard(stream.SendLock());
    return frame.WriteTo(stream) ? 1 : 0;
}

bool PropertyEngine::Answer(const RequestSections& request, bool external, Reply& reply) {
    if (request.WantEverything()) {
        return AnswerEverything(external, reply);
    }
    bool goesOn = true;
    // A subscription is also answered with the current values, after those of the reads.
    for (const JsonValue* const section : {request.getRequests, request.subscribeRequests}) {
        RequestSections::ForEachEntry(section, [&](const EntryView& entry) {
            goesOn = goesOn && AnswerEntry({.component = entry.Component(), .guids = entry.Guids()},
                                           external, reply);
            return goesOn;
        });
    }
    return goesOn;
}

void PropertyEngine::EnterSubscription(const StreamReference& stream,
                                       const RequestSections& request) {
    std::shared_ptr<Subscriber> subscriber = FindSubscriber(*stream);
    const bool isNew = !subscriber;
    if (isNew) {
        subscriber = std::make_shared<Subscriber>(stream);
    }
    const std::optional<Bound> exceeded = AddEntries(*subscriber, request.subscribeRequests, isNew);
    if (isNew) {
        // Before its list is whole, nothing may be sent by it: an empty list means everything.
        ScopedLock guard(subscribersLock);
        subscribers.push_back(std::move(subscriber));
    }
    if (!exceeded) {
        return;
    }
    if (exceeded == Bound::Subscriptions) {
        stream->Account()->Cut(*exceeded);
    } else {
        // Nobody is closed for what peers that have gone since the last tick still hold.
        DropGoneSubscribers();
        stream->Account()->Owner().Relieve(Resource::Subscriptions);
    }
    DropGoneSubscribers();
}

std::optional<Bound> PropertyEngine::AddEntries(Subscriber& subscriber, const JsonValue* section,
                                                bool evenIfListed) {
    // A message can have more than a million entries, and publications wait for the lock.
    constexpr std::size_t kAtOnce = 1'000;
    std::vector<EntryView> some;
    std::optional<Bound> exceeded;
    const auto add = [&] {
        ScopedLock guard(subscribersLock);
        for (const EntryView& entry : some) {
            const std::optional<Bound> bound =
                subscriber.Add(entry.Component(), entry.GroupGuid(), entry.Guid(), evenIfListed);
            exceeded = bound ? bound : exceeded;
            if (bound == Bound::Subscriptions) {
                break;
            }
        }
        some.clear();
        return exceeded != Bound::Subscriptions;
    };
    RequestSections::ForEachEntry(section, [&](const EntryView& entry) {
        some.push_back(entry);
        return some.size() < kAtOnce || add();
    });
    static_cast<void>(add());
    return exceeded;
}

std::shared_ptr<Subscriber> PropertyEngine::FindSubscriber(const Stream& stream) {
    ScopedLock guard(subscribersLock);
    const auto place = std::find_if(
        subscribers.begin(), subscribers.end(),
        [&](const std::shared_ptr<Subscriber>& known) { return known->Id() == stream.Id(); });
    return place == subscribers.end() ? nullptr : *place;
}

void PropertyEngine::DropSubscriber(const Stream& stream) {
    const std::shared_ptr<Subscriber> dropped = FindSubscriber(stream);
    if (!dropped) {
        return;
    }
    {
        ScopedLock guard(subscribersLock);
        std::erase(subscribers, dropped);
    }
    dropped->End();
}

}  // namespace vantry
