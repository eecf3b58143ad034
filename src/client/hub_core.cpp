// A Hub has two connections. One is for questions and for the properties of this program: the hub
// sends answers on it, in the order of the questions, and forwards writes. The other is for
// subscriptions. Each connection has a thread that receives, and a worker that runs the handlers
// and callbacks of the program, so that answers are received while a handler runs.
//
// The members are destroyed in the reverse order of their declaration, but the threads are stopped
// first, in the destructor: those that call into other members before those that are called.

#include "client/hub_core.h"

#include <algorithm>
#include <cassert>
#include <chrono>
#include <utility>

#include "client/event_queue.h"
#include "client/records.h"
#include "client/travel.h"
#include "wire/json/json_escapes.h"
#include "wire/section_keys.h"

namespace vantry::client {
namespace {

/// When this many messages with writes wait for slow handlers, no more messages are received.
constexpr std::size_t kMostWrites = 100'000;

/// The milliseconds in which a hub answers unless it has much to do.
constexpr std::uint32_t kUsualAnswer = 1000;

/// The milliseconds that the last heartbeats may take when a Hub ends.
constexpr std::uint32_t kLongestFarewell = 300;

Error NotFound(const PropertyId& id) {
    return {ErrorCode::NotFound, "the hub has no property " + id.group + ":" + id.property};
}

/// The milliseconds that a write has if its owner is known to be gone. They aren't 0, because a
/// program without heartbeats may have become the owner since.
constexpr std::uint32_t kWithoutOwner = 1000;

Error NotTaken(ErrorCode code, const Property& now) {
    return {code, "\"" + now.name + "\" did not take the value" +
                      (code == ErrorCode::TimedOut ? " in time" : "") + "; it is \"" + now.value +
                      "\""};
}

}  // namespace

Hub::Core::Core(Endpoint hubEndpoint, Options given)
    : options(std::move(given)),
      endpoint(std::move(hubEndpoint)),
      timing{options.deadlineMilliseconds, options.firstPauseMilliseconds,
             options.longestPauseMilliseconds, options.longestMessageBytes},
      requests(endpoint, timing,
               {.restore = [this](FrameSocket& socket) { return Restore(socket); },
                .onMessage = [this](auto message) { OnMessage(std::move(message)); },
                .onState = [this](bool connected) { OnState(connected); },
                .onFailure = [this](const Error& error) { ReportError(error); }}),
      requester(requests),
      owner(requests, requester, {options.deadlineMilliseconds, options.heartbeatMilliseconds},
            [this](const Error& error) { ReportError(error); }),
      subscriptions(std::make_shared<Subscriptions>(
          endpoint, timing,
          Subscriptions::Surroundings{.requester = requester,
                                      .reconcileMilliseconds = options.reconcileMilliseconds,
                                      .onError = [this](const Error& error) { ReportError(error); },
                                      .onState = [this] { ReportState(); }})) {}

Hub::Core::~Core() {
    assert(!handlers.IsMine() && !subscriptions->RunsHere() &&
           "a callback must not destroy its Hub");
    owner.Stop(Deadline::In(kLongestFarewell));
    subscriptions->Stop();
    handlers.Stop();
    requests.Stop();
}

Outcome Hub::Core::Start(std::shared_ptr<FrameSocket> socket, const Deadline& deadline) {
    if (!handlers.Start() || !requests.Start(std::move(socket))) {
        return Error{ErrorCode::NoConnection, "the system has no thread to give"};
    }
    if (options.onSilence && deadline.Left() > kUsualAnswer) {
        const Outcome soon = requests.WaitUntilSettled(Deadline::In(kUsualAnswer));
        if (soon || soon.error().code != ErrorCode::TimedOut) {
            return soon;
        }
        options.onSilence(
            {ErrorCode::TimedOut, "what listens at " + endpoint.Name() +
                                      " has not answered yet; is it a property hub?"});
    }
    return requests.WaitUntilSettled(deadline);
}

Result<Property> Hub::Core::Read(const PropertyId& id, const Deadline& deadline) {
    if (Outcome good = CheckId(id); !good) {
        return good.error();
    }
    auto records = requester.Ask(Question::List({RequestFor(id)}), deadline);
    if (!records) {
        return records.error();
    }
    std::vector<Property> found = PropertiesFoundIn(std::move(*records));
    return found.empty() ? Result<Property>(NotFound(id)) : std::move(found.front());
}

Result<std::vector<Property>> Hub::Core::ReadMany(const Question& question) {
    auto records = requester.Ask(question, In());
    if (!records) {
        return records.error();
    }
    return PropertiesFoundIn(std::move(*records));
}

Outcome Hub::Core::Restore(FrameSocket& socket) {
    return owner.Restore(socket, [this](auto message) { TakeWrites(message->message); });
}

void Hub::Core::OnMessage(std::unique_ptr<ReceivedMessage> message) {
    TakeWrites(message->message);
    if (message->message.HasSection(Section::kGetResponses)) {
        requester.TakeAnswer(std::move(message));
    }
}

void Hub::Core::TakeWrites(const PropertyMessage& message) {
    std::deque<PropertySetRequest> writes;
    message.DecodeSetRequests(writes);
    if (!writes.empty()) {
        handlers.PostWithin(kMostWrites,
                            [this, taken = std::move(writes)] { owner.TakeWrites(taken); });
    }
}

void Hub::Core::OnState(bool connected) {
    if (connected) {
        static_cast<void>(owner.SendUnsent(In()));
        handlers.Post([this] { owner.AnnounceLeftOvers(In()); });
    } else {
        requester.GiveUp();
    }
    ReportState();
}

void Hub::Core::ReportState() {
    ScopedLock guard(stateLock);
    const bool now = IsConnected();
    if (now != reported) {
        reported = now;
        Run(options.onConnection, now);
    }
}

Outcome Hub::Core::Write(const std::vector<PropertyWrite>& writes, const Deadline& deadline) {
    if (endpoint.path.empty()) {
        return Error{ErrorCode::Refused, "the hub takes no writes over TCP"};
    }
    std::deque<PropertySetRequest> entries;
    for (const PropertyWrite& write : writes) {
        if (Outcome good = CheckId(write.id); !good) {
            return good;
        }
        if (write.value.find('\0') != std::string::npos) {
            return Error{ErrorCode::Refused, "a value can't hold a NUL"};
        }
        // The hub forwards a write without escaping its text again, so a write to another component
        // is escaped twice: for the hub that reads it, and for the owner that reads it then.
        std::string text = EscapeJsonText(write.value);
        if (write.id.component != OwnComponent()) {
            text = EscapeJsonText(text);
        }
        entries.push_back({write.id.property, write.id.group, write.id.component, std::move(text)});
    }
    PropertyMessage message;
    message.EncodeSetRequests(entries);
    return requests.Send(message, deadline);
}

Owners::State Hub::Core::OwnerOf(const PropertyId& id) {
    Owners owners;
    if (const auto heartbeats = ReadMany(Question::Group(Owners::HeartbeatGroup()))) {
        for (const Property& heartbeat : *heartbeats) {
            owners.Take(heartbeat);
        }
    }
    return owners.Of(id);
}

Result<Property> Hub::Core::AwaitValue(const Property& before, const std::string& value,
                                       const Deadline& deadline) {
    const bool hadIt = SameValue(before.value, value);
    EventQueue changes;
    const std::uint64_t number =
        subscriptions->Add(Interest::List({before.id}), changes.Callback());
    const Subscription whileWaiting([&] { subscriptions->Remove(number); });
    while (const auto change = changes.Take(std::chrono::milliseconds(deadline.Left()))) {
        const bool hasIt = SameValue(change->value, value);
        if (!change->available) {
            return NotFound(before.id);
        }
        if (hasIt && (!hadIt || change->origin == Origin::Change)) {
            return *change;
        }
        if (!hasIt && hadIt) {
            return NotTaken(ErrorCode::Refused, *change);
        }
    }
    const Result<Property> now = Read(before.id, In());
    if (!now || SameValue(now->value, value)) {
        return now;
    }
    const Owners::State owner = OwnerOf(before.id);
    if (owner.presence == Owners::Presence::Gone) {
        return Error{ErrorCode::OwnerGone, "\"" + now->name +
                                               "\" has no owner any more: " + owner.why +
                                               "; the value is still \"" + now->value + "\""};
    }
    return NotTaken(ErrorCode::TimedOut, *now);
}

Result<Property> Hub::Core::WriteAndWait(const PropertyId& id, const std::string& value) {
    const Deadline deadline = In();
    const Result<Property> before = Read(id, deadline);
    if (!before) {
        return before;
    }
    if (const Outcome written = Write({{id, value}}, deadline); !written) {
        return written.error();
    }
    Result<Property> now = Read(id, deadline);
    if (!now) {
        return now;
    }
    const bool hasIt = SameValue(now->value, value);
    if (id.component == OwnComponent()) {
        return hasIt ? now : NotTaken(ErrorCode::Refused, *now);
    }
    const bool mayBeCommand =
        SameValue(before->value, value) && IsValue(ValueType::Bool, before->value);
    if (hasIt && !mayBeCommand) {
        return now;
    }
    const bool isGone = OwnerOf(id).presence == Owners::Presence::Gone;
    return AwaitValue(*before, value,
                      isGone ? Deadline::In(std::min(kWithoutOwner, deadline.Left())) : deadline);
}

}  // namespace vantry::client
