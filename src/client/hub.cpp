// A Hub has two connections. One is for questions and for what this program owns: on it the hub
// sends answers, in order, and forwarded writes. The other is for subscriptions. Each has a thread
// that receives, and a worker that runs what belongs to the program, so that answers are taken
// whatever a handler does.

#include "client/hub.h"

#include <cassert>
#include <chrono>
#include <deque>
#include <exception>
#include <utility>

#include "client/channel.h"
#include "client/event_queue.h"
#include "client/owner.h"
#include "client/records.h"
#include "client/requester.h"
#include "client/subscriptions.h"
#include "client/travel.h"
#include "client/worker.h"
#include "wire/json/json_escapes.h"
#include "wire/section_keys.h"
#include "wire/vocabulary/components.h"

namespace vantry::client {
namespace {

/// So many messages with writes wait for slow handlers; then no more is received.
constexpr std::size_t kMostWrites = 100'000;

Error NotFound(const PropertyId& id) {
    return {ErrorCode::NotFound, "the hub has no property " + id.group + ":" + id.property};
}

Error NotTaken(ErrorCode code, const Property& now) {
    return {code, "\"" + now.name + "\" did not take the value" +
                      (code == ErrorCode::TimedOut ? " in time" : "") + "; it is \"" + now.value +
                      "\""};
}

}  // namespace

Subscription::~Subscription() {
    if (end) {
        end();
    }
}

Subscription::Subscription(Subscription&& other) noexcept : end(std::exchange(other.end, {})) {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        if (end) {
            end();
        }
        end = std::exchange(other.end, {});
    }
    return *this;
}

class Hub::Core {
public:
    Core(Endpoint hubEndpoint, Options given)
        : options(std::move(given)),
          endpoint(std::move(hubEndpoint)),
          timing{options.deadlineMilliseconds, options.firstPauseMilliseconds,
                 options.longestPauseMilliseconds, options.longestMessageBytes},
          requests(endpoint, timing,
                   {.restore = [this](FrameSocket& socket) { return Restore(socket); },
                    .onMessage = [this](auto message) { OnMessage(std::move(message)); },
                    .onState = [this](bool connected) { OnState(connected); },
                    .onFailure = [this](const Error& error) { TellError(error); }}),
          requester(requests),
          owner(requests, requester, [this](const Error& error) { TellError(error); }),
          subscriptions(std::make_shared<Subscriptions>(
              endpoint, timing,
              Subscriptions::Surroundings{
                  .requester = requester,
                  .reconcileMilliseconds = options.reconcileMilliseconds,
                  .onError = [this](const Error& error) { TellError(error); },
                  .onState = [this] { TellState(); }})) {}

    ~Core() {
        assert(!handlers.IsMine() && !subscriptions->RunsHere() &&
               "a callback must not destroy its Hub");
        owner.Stop();
        subscriptions->Stop();
        handlers.Stop();
        requests.Stop();
    }

    Deadline In() const { return Deadline::In(options.deadlineMilliseconds); }

    Outcome Start(std::shared_ptr<FrameSocket> socket, const Deadline& deadline) {
        if (!handlers.Start() || !requests.Start(std::move(socket))) {
            return Error{ErrorCode::NoConnection, "the system has no thread to give"};
        }
        return requests.WaitUntilSettled(deadline);
    }

    bool IsConnected() const { return requests.IsUp() && !subscriptions->IsLost(); }

    Result<Property> Read(const PropertyId& id, const Deadline& deadline) {
        if (Outcome good = CheckId(id); !good) {
            return good.error();
        }
        auto records = requester.Ask(Question::List({RequestFor(id)}), deadline);
        if (!records) {
            return records.error();
        }
        std::vector<Property> found = FoundIn(std::move(*records));
        return found.empty() ? Result<Property>(NotFound(id)) : std::move(found.front());
    }

    Result<std::vector<Property>> ReadMany(const Question& question) {
        auto records = requester.Ask(question, In());
        if (!records) {
            return records.error();
        }
        return FoundIn(std::move(*records));
    }

    Outcome Write(const PropertyId& id, const std::string& value, const Deadline& deadline);
    Result<Property> AwaitValue(const Property& before, const std::string& value,
                                const Deadline& deadline);

    const Options options;

private:
    Outcome Restore(FrameSocket& socket) {
        return owner.Restore(socket, options.deadlineMilliseconds,
                             [this](auto message) { TakeWrites(message->message); });
    }

    void OnMessage(std::unique_ptr<ReceivedMessage> message) {
        TakeWrites(message->message);
        if (message->message.HasSection(Section::kGetResponses)) {
            requester.TakeAnswer(std::move(message));
        }
    }

    void TakeWrites(const PropertyMessage& message) {
        std::deque<PropertySetRequest> writes;
        message.DecodeSetRequests(writes);
        if (!writes.empty()) {
            handlers.PostWithin(kMostWrites, [this, taken = std::move(writes)] {
                owner.TakeWrites(taken, options.deadlineMilliseconds);
            });
        }
    }

    void OnState(bool connected) {
        if (connected) {
            static_cast<void>(owner.TellNews(In()));
            handlers.Post([this] { owner.AnnounceLeftOvers(In()); });
        } else {
            requester.GiveUp();
        }
        TellState();
    }

    void TellState() {
        ScopedLock guard(stateLock);
        const bool now = IsConnected();
        if (now != told) {
            told = now;
            Run(options.onConnection, now);
        }
    }

    void TellError(const Error& error) { Run(options.onError, error); }

    template <typename Callback, typename Argument>
    void Run(const Callback& callback, const Argument& argument) {
        if (!callback) {
            return;
        }
        handlers.Post([callback, argument] {
            try {
                callback(argument);
            } catch (const std::exception&) {
                // There is nobody left to tell.
            }
        });
    }

    const Endpoint endpoint;
    const ChannelTiming timing;
    Lock stateLock;
    bool told GUARDED_BY(stateLock) = false;

public:
    Channel requests;
    Requester requester;
    Owner owner;
    const std::shared_ptr<Subscriptions> subscriptions;

private:
    Worker handlers;
};

Outcome Hub::Core::Write(const PropertyId& id, const std::string& value, const Deadline& deadline) {
    if (Outcome good = CheckId(id); !good) {
        return good;
    }
    if (endpoint.path.empty()) {
        return Error{ErrorCode::Refused, "the hub takes no writes over TCP"};
    }
    if (value.find('\0') != std::string::npos) {
        return Error{ErrorCode::Refused, "a value can't hold a NUL"};
    }
    // The hub hands a write on to its owner as it has read it, without putting escapes back, so
    // what goes to another component is escaped for both readings.
    std::string text = EscapeJsonText(value);
    if (id.component != OwnComponent()) {
        text = EscapeJsonText(text);
    }
    PropertyMessage message;
    message.EncodeSetRequests({{id.property, id.group, id.component, std::move(text)}});
    return requests.Send(message, deadline);
}

/// Waits for the value that was written. The property may have had it before.
Result<Property> Hub::Core::AwaitValue(const Property& before, const std::string& value,
                                       const Deadline& deadline) {
    const bool hadIt = MeanTheSame(before.value, value);
    EventQueue changes;
    const std::uint64_t number =
        subscriptions->Add(Interest::List({before.id}), changes.Callback());
    const Subscription whileWaiting([&] { subscriptions->Remove(number); });
    while (const auto change = changes.Take(std::chrono::milliseconds(deadline.Left()))) {
        const bool hasIt = MeanTheSame(change->value, value);
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
    return !now || MeanTheSame(now->value, value) ? now : NotTaken(ErrorCode::TimedOut, *now);
}

Hub::Hub(std::unique_ptr<Core> implementation) : core(std::move(implementation)) {}

Hub::~Hub() = default;

Result<std::unique_ptr<Hub>> Hub::Connect(Endpoint endpoint, Options options) {
    const Deadline deadline = Deadline::In(options.deadlineMilliseconds);
    const auto socket = FrameSocket::Connect(endpoint, deadline, options.longestMessageBytes);
    if (!socket) {
        return socket.error();
    }
    auto core = std::make_unique<Core>(std::move(endpoint), std::move(options));
    if (Outcome started = core->Start(*socket, deadline); !started) {
        return started.error();
    }
    return std::unique_ptr<Hub>(new Hub(std::move(core)));
}

bool Hub::IsConnected() const { return core->IsConnected(); }

Result<Property> Hub::Read(const PropertyId& id) { return core->Read(id, core->In()); }

Result<std::vector<Property>> Hub::ReadGroup(const std::string& groupGuid) {
    if (Outcome good = CheckGroup(groupGuid); !good) {
        return good.error();
    }
    return core->ReadMany(Question::Group(groupGuid));
}

Result<std::vector<Property>> Hub::ReadAll() { return core->ReadMany(Question::Everything()); }

Outcome Hub::Write(const PropertyId& id, const std::string& value) {
    return core->Write(id, value, core->In());
}

Result<Property> Hub::WriteAndWait(const PropertyId& id, const std::string& value) {
    const Deadline deadline = core->In();
    const Result<Property> before = core->Read(id, deadline);
    if (!before) {
        return before;
    }
    if (const Outcome written = core->Write(id, value, deadline); !written) {
        return written.error();
    }
    Result<Property> now = core->Read(id, deadline);
    if (!now) {
        return now;
    }
    const bool hasIt = MeanTheSame(now->value, value);
    if (id.component == OwnComponent()) {
        return hasIt ? now : NotTaken(ErrorCode::Refused, *now);
    }
    const bool mayBeCommand =
        MeanTheSame(before->value, value) && Fits(ValueType::Truth, before->value);
    return hasIt && !mayBeCommand ? now : core->AwaitValue(*before, value, deadline);
}

Subscription Hub::Subscribe(Interest interest, ChangeCallback callback) {
    const std::uint64_t number = core->subscriptions->Add(std::move(interest), std::move(callback));
    return Subscription([list = std::weak_ptr(core->subscriptions), number] {
        if (const auto alive = list.lock()) {
            alive->Remove(number);
        }
    });
}

Outcome Hub::Announce(std::vector<Announcement> properties) {
    return core->owner.Announce(properties,
                                Deadline::In(core->options.deadlineMilliseconds +
                                             Announcements::kBetweenWithdrawalAndReturn));
}

Outcome Hub::Change(const PropertyId& id, const std::string& value) {
    return core->owner.Change(id, value, core->In());
}

Outcome Hub::Withdraw(const PropertyId& id) { return core->owner.Withdraw(id, core->In()); }

const std::string& Hub::OwnComponent() {
    static const std::string guid(Components::kVantry.guid);
    return guid;
}

}  // namespace vantry::client
