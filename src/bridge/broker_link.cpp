// The connection of one printer to the broker.
//
// Only a connection that has lasted a minute makes the pauses short again, so that a broker which
// accepts and closes connections isn't contacted every second. A broker that doesn't speak version
// 5, or sends what the library can't take of it, is asked with 3.1.1 from then on.
//
// Connections are begun by a dialer on its own thread, which may be held by the look-up of a name.
// The loop waits for its report as for everything else, and gives an attempt up after a while.

#include "bridge/broker_link.h"

#include <algorithm>
#include <utility>

#include "runtime/clock.h"

namespace vantry::bridge {
namespace {

constexpr std::uint64_t kCareMilliseconds = 5000;
constexpr std::uint64_t kAttempt = 30'000 * kNanosecondsPerMillisecond;
constexpr std::uint64_t kLasted = 60'000 * kNanosecondsPerMillisecond;
constexpr std::size_t kMostInFlight = 32;

}  // namespace

BrokerLink::BrokerLink(Loop& itsLoop, mqtt::Dialer& itsDialer, Settings configuration,
                       Callbacks reactions)
    : loop(itsLoop),
      dialer(itsDialer),
      settings(std::move(configuration)),
      callbacks(std::move(reactions)),
      backoff(settings.firstPause, settings.longestPause),
      retry(itsLoop, [this] { Connect(); }),
      care(itsLoop, [this] { Work(false, false); }) {}

BrokerLink::~BrokerLink() { Close(); }

void BrokerLink::Start(std::uint64_t delay) { retry.Set(delay); }

void BrokerLink::Connect() {
    settings.connection.will = callbacks.onConnecting();
    mqtt::Connection::Callbacks reactions;
    reactions.onAccepted = [this](std::uint16_t maximum) { OnAccepted(maximum); };
    reactions.onAcknowledged = [this](int number, int reason) {
        if (inFlight.erase(number) != 0) {
            callbacks.onAcknowledged(number, reason);
        }
    };
    reactions.onMessage = callbacks.onMessage;
    reactions.onSubscribed = [this](int refused) {
        if (refused != 0) {
            callbacks.onProblem("the broker refuses the subscription to commands");
        }
    };
    attemptEnds = NowNanoseconds() + kAttempt;
    care.Set(kCareMilliseconds);
    const auto ticket = std::make_shared<mqtt::Dialer::Ticket>(0);
    *ticket = *dialled =
        dialer.Begin(settings.connection, std::move(reactions),
                     [this, ticket, current = std::weak_ptr(dialled)](Begun begun) {
                         // A job must be one that can be copied.
                         const auto shared = std::make_shared<Begun>(std::move(begun));
                         loop.Post([this, ticket, current, shared] {
                             const auto dialledNow = current.lock();
                             if (dialledNow && *dialledNow == *ticket) {
                                 OnBegun(std::move(*shared));
                             }
                         });
                     });
}

void BrokerLink::OnBegun(Begun begun) {
    *dialled = 0;
    if (!begun) {
        Fail(begun.error().text);
        return;
    }
    connection = std::move(*begun);
    descriptor = connection->Descriptor();
    loop.Watch(descriptor, true,
               [this](bool isReadable, bool isWritable) { Work(isReadable, isWritable); });
    care.Set(kCareMilliseconds);
}

void BrokerLink::OnAccepted(std::uint16_t maximum) {
    acceptedAt = NowNanoseconds();
    receiveMaximum = std::clamp<std::size_t>(maximum, 1, kMostInFlight);
    if (!settings.filters.empty()) {
        static_cast<void>(static_cast<bool>(connection->Subscribe(settings.filters)));
    }
    callbacks.onUp();
}

void BrokerLink::Work(bool isReadable, bool isWritable) {
    if (!connection) {
        if (NowNanoseconds() > attemptEnds) {
            Fail("the look-up of the broker " + settings.connection.broker.Name() +
                 " takes too long");
        } else {
            care.Set(kCareMilliseconds);
        }
        return;
    }
    const Outcome worked = connection->Work(isReadable, isWritable);
    if (!worked) {
        if (connection->IsVersionRefused()) {
            settings.connection.isVersion5 = false;
        }
        Fail(worked.error().text);
        return;
    }
    if (!connection->IsAccepted() && NowNanoseconds() > attemptEnds) {
        Fail("the broker at " + settings.connection.broker.Name() + " does not answer");
        return;
    }
    care.Set(kCareMilliseconds);
    if (IsUp() && HasRoom()) {
        callbacks.onRoom();
    }
    if (connection) {
        loop.WatchForWriting(descriptor, connection->WantsToWrite());
    }
}

bool BrokerLink::HasRoom() const {
    return inFlight.size() < receiveMaximum && !connection->WantsToWrite();
}

int BrokerLink::Publish(const mqtt::Message& message) {
    if (!IsUp()) {
        return 0;
    }
    const Result<int> number = connection->Publish(message);
    if (number && message.qos > 0) {
        inFlight.insert(*number);
    }
    if (connection->WantsToWrite()) {
        loop.WatchForWriting(descriptor, true);
    }
    care.SetEarlier(number ? kCareMilliseconds : 0);
    return number ? *number : 0;
}

void BrokerLink::Fail(const std::string& why) {
    const bool hasLasted = IsUp() && NowNanoseconds() - acceptedAt > kLasted;
    Close();
    if (hasLasted) {
        backoff.Reset();
    }
    retry.Set(backoff.Next());
    callbacks.onDown(why);
}

void BrokerLink::Close() {
    if (descriptor >= 0) {
        loop.Forget(descriptor);
    }
    descriptor = -1;
    if (*dialled != 0) {
        dialer.Cancel(std::exchange(*dialled, 0));
    }
    connection.reset();
    inFlight.clear();
    care.Cancel();
}

void BrokerLink::Leave() {
    retry.Cancel();
    if (connection) {
        connection->Leave();
    }
    Close();
}

void BrokerLink::Rejoin() {
    Leave();
    retry.Set(backoff.Next());
}

}  // namespace vantry::bridge
