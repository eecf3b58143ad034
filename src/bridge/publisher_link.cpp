// How a publisher reacts when its connection is made, ends or receives something. It must not be
// ended within its own callback, so when a host goes offline, a timer ends it.
//
// A style may need a host at the broker. Without it nothing is sent, as if there were no broker.
// A broker that refuses a message because its quota is exceeded gets half as much from then on.

#include "bridge/publisher.h"

#include <algorithm>
#include <utility>

#include "bridge/batch_record.h"
#include "bridge/identity.h"

namespace vantry::bridge {
namespace {

constexpr std::uint64_t kMostSlowness = 64;
constexpr int kFirstRefusal = 0x80;
constexpr int kQuotaExceeded = 0x97;

}  // namespace

std::unique_ptr<BrokerLink> Publisher::MakeLink() {
    BrokerLink::Settings settings;
    settings.connection = ConnectionFor(options, entry.serial);
    settings.filters = style->Filters();
    settings.firstPause = Milliseconds(options.reconnectFirstSeconds);
    settings.longestPause = Milliseconds(options.reconnectLongestSeconds);
    encryptionStamp = settings.connection.tls.Stamp();
    BrokerLink::Callbacks reactions;
    reactions.onConnecting = [this] {
        since = NowSince1970();
        hasHost = false;
        return style->Will(PresentHealth());
    };
    reactions.onUp = [this] { OnUp(); };
    reactions.onDown = [this](const std::string& why) {
        callbacks.log(why);
        Retreat();
    };
    reactions.onProblem = callbacks.log;
    reactions.onMessage = [this](const mqtt::Message& message) { OnMessage(message); };
    reactions.onAcknowledged = [this](int number, int reason) { OnAcknowledged(number, reason); };
    reactions.onRoom = [this] { SendWhatFits(); };
    return std::make_unique<BrokerLink>(loop, dialer, std::move(settings), std::move(reactions));
}

void Publisher::RenewEncryption() {
    if (ConnectionFor(options, entry.serial).tls.Stamp() == encryptionStamp) {
        return;
    }
    callbacks.log("the certificates have changed; connecting with the new ones");
    Retreat();
    link->Leave();
    link = MakeLink();
    link->Start(0);
}

void Publisher::OnUp() {
    callbacks.log("connected to the broker at " + options.broker.Name());
    birthAgain.Cancel();
    needsBirth = true;
    stateFull.Set(kHour);
}

void Publisher::Disconnect() {
    if (IsReady()) {
        SendAll(style->Death(PresentHealth()));
    }
    Retreat();
    link->Leave();
}

void Publisher::OnAcknowledged(int number, int reason) {
    const auto found = sent.find(number);
    if (found == sent.end()) {
        return;
    }
    const Sent what = std::move(found->second);
    sent.erase(found);
    if (what.isHistory) {
        isHistoryUnderWay = false;
    }
    if (reason == kQuotaExceeded) {
        SlowDown();
        if (what.batch && !what.isHistory) {
            backlog->Append(ToRecord(*what.batch));
        }
        return;
    }
    if (reason >= kFirstRefusal) {
        refused += what.batch ? what.batch->changes.size() : 0;
        callbacks.log("the broker refuses a message: " + mqtt::WordsOfReason(reason));
    }
    if (what.isHistory) {
        backlog->Pop();
    }
}

void Publisher::SlowDown() {
    slowness = std::min(kMostSlowness, slowness * 2);
    minute.Set(kMinute);
    callbacks.log("the broker wants fewer messages; sending at a lower rate");
}

void Publisher::OnMessage(const mqtt::Message& message) {
    for (Request& request : style->Read(inventory, message)) {
        switch (request.kind) {
            case Request::Kind::Write:
                callbacks.onWrite(std::move(request));
                break;
            case Request::Kind::Rebirth:
                needsBirth = true;
                SendWhatFits();
                break;
            case Request::Kind::HostUp:
            case Request::Kind::HostDown:
                OnHost(request.kind == Request::Kind::HostUp);
                break;
        }
    }
}

void Publisher::OnHost(bool isThere) {
    if (isThere == (hasHost && !leaving.IsSet())) {
        return;
    }
    callbacks.log(isThere ? "the primary host is there" : "the primary host has gone");
    if (isThere) {
        leaving.Cancel();
        hasHost = true;
        SendWhatFits();
    } else {
        // The connection can't be left here, because it is the one that calls.
        leaving.Set(0);
    }
}

}  // namespace vantry::bridge
