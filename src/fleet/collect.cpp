// MQTT doesn't report when all retained messages have been sent. The list counts as complete when
// the subscription is confirmed and no retained message has come for a while. The messages have QoS
// 0, because brokers bound the queue of what a client hasn't acknowledged and drop the rest.

#include "fleet/collect.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "client/deadline.h"
#include "mqtt/connection.h"
#include "mqtt/dialer.h"

namespace vantry::fleet {
namespace {

constexpr int kPart = 100;
/// Some brokers take no more filters in one subscription.
constexpr std::size_t kMostFilters = 8;

/// What has been received, besides the roster.
struct Progress {
    bool isAccepted = false;
    int answered = 0;
    int refused = 0;
    client::Deadline silent;
};

mqtt::Connection::Settings SettingsOf(const Options& options) {
    mqtt::Connection::Settings settings;
    settings.broker = options.broker;
    settings.tls = options.tls;
    settings.isVersion5 = options.isVersion5;
    settings.clientId = "vantry-fleet-" + std::to_string(getpid());
    return settings;
}

Result<int> Subscribe(mqtt::Connection& connection, const std::vector<std::string>& topics) {
    int asked = 0;
    for (std::size_t begin = 0; begin < topics.size(); begin += kMostFilters) {
        const auto from = topics.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto size = std::min(kMostFilters, topics.size() - begin);
        const Outcome sent =
            connection.Subscribe({from, from + static_cast<std::ptrdiff_t>(size)}, 0);
        if (!sent) {
            return sent.error();
        }
        ++asked;
    }
    return asked;
}

}  // namespace

Result<Roster> Collect(const Options& options) {
    const auto silence = static_cast<std::uint32_t>(options.silence.count());
    const auto deadline = client::Deadline::In(static_cast<std::uint32_t>(options.timeout.count()));
    Roster roster;
    Progress progress{false, 0, 0, client::Deadline::In(silence)};
    mqtt::Connection::Callbacks reactions;
    reactions.onAccepted = [&](std::uint16_t) { progress.isAccepted = true; };
    reactions.onAcknowledged = [](int, int) {};
    reactions.onSubscribed = [&](int refused) {
        ++progress.answered;
        progress.refused += refused;
        progress.silent = client::Deadline::In(silence);
    };
    reactions.onMessage = [&](const mqtt::Message& message) {
        roster.Take(message.topic, message.payload);
        if (message.retain) {
            progress.silent = client::Deadline::In(silence);
        }
    };
    const std::vector<std::string> topics = Roster::Topics(options.sites);
    auto connection =
        mqtt::Dialer::BeginWithin(deadline.Left(), SettingsOf(options), std::move(reactions));
    if (!connection) {
        return connection.error();
    }
    int asked = 0;
    while (asked == 0 || progress.answered < asked || !progress.silent.HasPassed()) {
        const Outcome worked = (*connection)->WaitAndWork(kPart);
        if (!worked) {
            return worked.error();
        }
        if (deadline.HasPassed()) {
            return Error{ErrorCode::TimedOut,
                         "the broker at " + options.broker.Name() + " does not answer in time"};
        }
        if (progress.isAccepted && asked == 0) {
            const Result<int> sent = Subscribe(**connection, topics);
            if (!sent) {
                return sent.error();
            }
            asked = *sent;
        }
    }
    (*connection)->Leave();
    if (progress.refused == static_cast<int>(topics.size())) {
        return Error{ErrorCode::Refused, "the broker lets this client read nothing"};
    }
    return roster;
}

}  // namespace vantry::fleet
