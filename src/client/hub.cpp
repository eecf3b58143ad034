#include "client/hub.h"

#include <deque>
#include <utility>

#include "client/announcements.h"
#include "client/channel.h"
#include "client/records.h"
#include "client/subscriptions.h"
#include "runtime/clock.h"
#include "runtime/event.h"
#include "wire/json/json_escapes.h"
#include "wire/section_keys.h"
#include "wire/vocabulary/components.h"

namespace vantry::client {
namespace {

Error NotFound(const PropertyId& id) {
    return {ErrorCode::NotFound, "the hub has no property " + id.group + ":" + id.property};
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

/// One connection for questions and for what this program owns, on which the hub sends answers, in
/// order, and forwarded writes; and one for subscriptions.
class Hub::Core {
public:
    Core(Endpoint endpoint, Options given)
        : options(std::move(given)),
          timing{options.deadlineMilliseconds, options.firstPauseMilliseconds,
                 options.longestPauseMilliseconds},
          requests(endpoint, timing,
                   {.restore = [this](FrameSocket& socket) { return Restore(socket); },
                    .onMessage = [this](const PropertyMessage& message) { OnMessage(message); },
                    .onState = [this](bool connected) { OnState(connected); }}),
          subscriptions(endpoint, timing) {}

    /// Asks and waits for the answer. One at a time: answers carry no mark of their question.
    Result<std::vector<Property>> Ask(PropertyMessage& question) {
        const auto answer = AskWhole(question);
        if (!answer) {
            return answer.error();
        }
        return FoundIn(**answer);
    }

    Result<std::unique_ptr<PropertyMessage>> AskWhole(PropertyMessage& question) {
        ScopedLock guard(askLock);
        {
            ScopedLock answerGuard(answerLock);
            answer.reset();
            answered.Reset();
        }
        const Outcome sent = requests.Send(question);
        if (!sent) {
            return sent.error();
        }
        const bool came = answered.Wait(options.deadlineMilliseconds);
        std::unique_ptr<PropertyMessage> received;
        {
            ScopedLock answerGuard(answerLock);
            received = std::move(answer);
        }
        if (received) {
            return received;
        }
        if (came) {
            return Error{ErrorCode::NoConnection, "the connection broke before the hub answered"};
        }
        // Its answer may still come, and would be taken for that of another question.
        requests.Restart();
        return Error{ErrorCode::TimedOut, "the hub did not answer in time"};
    }

    Outcome Send(PropertyMessage& message) { return requests.Send(message); }

    Outcome TakePossessionOf(const std::vector<Announcement>& properties) {
        return TakePossession(
            properties, [this](PropertyMessage& message) { return AskWhole(message); },
            [this](PropertyMessage& message) { return Send(message); });
    }

    const Options options;
    const ChannelTiming timing;
    Announcements announcements;

private:
    bool Restore(FrameSocket& socket) {
        const std::vector<Announcement> all = announcements.All();
        if (all.empty()) {
            return true;
        }
        const std::uint32_t deadline = options.deadlineMilliseconds;
        return static_cast<bool>(TakePossession(
            all, [&](PropertyMessage& message) { return socket.Ask(message, deadline); },
            [&](PropertyMessage& message) { return socket.Send(message, deadline); }));
    }

    void OnMessage(const PropertyMessage& message) {
        const std::vector<Announcement> changed = announcements.TakeWrites(message);
        if (!changed.empty()) {
            static_cast<void>(Report(changed, Status::kSuccessful, [this](PropertyMessage& report) {
                return requests.Send(report);
            }));
        }
        if (message.HasSection(Section::kGetResponses)) {
            std::deque<PropertyResponse> records;
            message.DecodeGetResponses(records);
            auto copy = std::make_unique<PropertyMessage>();
            copy->EncodeGetResponses(std::move(records));
            ScopedLock guard(answerLock);
            answer = std::move(copy);
            answered.Set();
        }
    }

    void OnState(bool connected) {
        if (!connected) {
            answered.Set();
        }
        if (options.onConnection) {
            options.onConnection(connected);
        }
    }

    Lock askLock;
    Lock answerLock;
    std::unique_ptr<PropertyMessage> answer GUARDED_BY(answerLock);
    Event answered{true};

public:
    Channel requests;
    Subscriptions subscriptions;
};

Hub::Hub(std::unique_ptr<Core> implementation) : core(std::move(implementation)) {}

Hub::~Hub() = default;

Result<std::unique_ptr<Hub>> Hub::Connect(Endpoint endpoint, Options options) {
    const auto socket = FrameSocket::Connect(endpoint, options.deadlineMilliseconds);
    if (!socket) {
        return socket.error();
    }
    auto core = std::make_unique<Core>(std::move(endpoint), std::move(options));
    if (!core->requests.Start(*socket)) {
        return Error{ErrorCode::NoConnection, "the system has no thread to give"};
    }
    std::unique_ptr<Hub> hub(new Hub(std::move(core)));
    const std::uint64_t deadline =
        NowNanoseconds() + hub->core->options.deadlineMilliseconds * kNanosecondsPerMillisecond;
    Event never(false);
    while (!hub->IsConnected() && NowNanoseconds() < deadline) {
        static_cast<void>(never.Wait(1));
    }
    return hub;
}

bool Hub::IsConnected() const { return core->requests.IsUp(); }

Result<Property> Hub::Read(const PropertyId& id) {
    PropertyMessage question;
    question.EncodeGetRequests({RequestFor(id)});
    auto found = core->Ask(question);
    if (!found) {
        return found.error();
    }
    if (found->empty()) {
        return NotFound(id);
    }
    return std::move(found->front());
}

Result<std::vector<Property>> Hub::ReadGroup(const std::string& groupGuid) {
    PropertyMessage question;
    question.EncodeGetRequests({{"", groupGuid, ""}});
    return core->Ask(question);
}

Result<std::vector<Property>> Hub::ReadAll() {
    PropertyMessage question;
    question.EncodeGetAll();
    return core->Ask(question);
}

Outcome Hub::Write(const PropertyId& id, const std::string& value) {
    // The hub hands a write on to its owner as it has read it, without putting escapes back, so
    // what goes to another component is escaped for both readings.
    std::string text = EscapeJsonText(value);
    if (id.component != OwnComponent()) {
        text = EscapeJsonText(text);
    }
    PropertyMessage message;
    message.EncodeSetRequests({{id.property, id.group, id.component, std::move(text)}});
    return core->Send(message);
}

Result<Property> Hub::WriteAndWait(const PropertyId& id, const std::string& value) {
    Result<Property> now = Read(id);
    if (!now) {
        return now;
    }
    const Outcome written = Write(id, value);
    if (!written) {
        return written.error();
    }
    const std::uint64_t deadline =
        NowNanoseconds() + core->options.deadlineMilliseconds * kNanosecondsPerMillisecond;
    constexpr std::uint32_t kBetweenLooks = 20;
    Event never(false);
    for (now = Read(id); now && !MeanTheSame(now->value, value); now = Read(id)) {
        if (NowNanoseconds() >= deadline) {
            return Error{ErrorCode::TimedOut, "\"" + now->name +
                                                  "\" did not take the value in time; it is \"" +
                                                  now->value + "\""};
        }
        static_cast<void>(never.Wait(kBetweenLooks));
    }
    return now;
}

Subscription Hub::Subscribe(Interest interest, ChangeCallback callback) {
    const std::uint64_t number = core->subscriptions.Add(std::move(interest), std::move(callback));
    return Subscription([this, number] { core->subscriptions.Remove(number); });
}

Outcome Hub::Announce(std::vector<Announcement> properties) {
    const Outcome added = core->announcements.Add(properties);
    if (!added) {
        return added;
    }
    const Outcome known = core->TakePossessionOf(properties);
    if (!known && known.error().code == ErrorCode::TimedOut) {
        for (const Announcement& property : properties) {
            core->announcements.Remove(property.id);
        }
        return known;
    }
    // Without a connection they are announced when there is one again.
    return Done{};
}

Outcome Hub::Change(const PropertyId& id, const std::string& value) {
    const Result<Announcement> changed = core->announcements.SetValue(id, value);
    if (!changed) {
        return changed.error();
    }
    static_cast<void>(Report({*changed}, Status::kSuccessful,
                             [this](PropertyMessage& message) { return core->Send(message); }));
    return Done{};
}

Outcome Hub::Withdraw(const PropertyId& id) {
    const Result<Announcement> gone = core->announcements.Find(id);
    if (!gone) {
        return gone.error();
    }
    core->announcements.Remove(id);
    return Report({*gone}, Status::kNoLongerAvailable,
                  [this](PropertyMessage& message) { return core->Send(message); });
}

const std::string& Hub::OwnComponent() {
    static const std::string guid(Components::kVantry.guid);
    return guid;
}

}  // namespace vantry::client
