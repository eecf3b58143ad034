// Removing what a printer has left at the broker: an empty retained message for each topic that its
// style retains. The printers are retired one after the other over a connection each, and each
// topic is done when the broker has acknowledged it. Blocks the caller, for 10 seconds a printer at
// most.

#include "bridge/retire.h"

#include "bridge/identity.h"
#include "bridge/printer_list.h"
#include "client/deadline.h"
#include "mqtt/dialer.h"

namespace vantry::bridge {
namespace {

constexpr std::uint32_t kPatience = 10'000;
constexpr int kPartOfIt = 500;

Outcome RetireOne(const Options& options, const PrinterEntry& entry) {
    std::size_t left = 0;
    int refusal = 0;
    mqtt::Connection::Callbacks reactions;
    reactions.onAccepted = [](std::uint16_t) {};
    reactions.onMessage = [](const mqtt::Message&) {};
    reactions.onAcknowledged = [&](int, int reason) {
        --left;
        refusal = reason >= 0x80 ? reason : refusal;
    };
    const auto deadline = client::Deadline::In(kPatience);
    auto connection = mqtt::Dialer::BeginWithin(
        deadline.Left(), ConnectionFor(options, entry.serial), std::move(reactions));
    if (!connection) {
        return connection.error();
    }
    const auto wait = [&](const auto& condition) {
        Outcome step = Done{};
        while (step && !condition() && !deadline.HasPassed()) {
            step = (*connection)->WaitAndWork(kPartOfIt);
        }
        return step && !condition()
                   ? Outcome(Error{ErrorCode::TimedOut, "the broker does not answer in time"})
                   : step;
    };
    Outcome done = wait([&] { return (*connection)->IsAccepted(); });
    for (const std::string& topic : MakeStyle(options, entry)->Retained()) {
        ++left;
        const auto sent = done ? (*connection)->Publish({topic, "", 1, true}) : Result<int>(0);
        done = sent ? done : Outcome(sent.error());
    }
    done = done ? wait([&] { return left == 0; }) : done;
    if (done && refusal != 0) {
        return Error{ErrorCode::Refused, "the broker refuses it: " + mqtt::WordsOfReason(refusal)};
    }
    (*connection)->Leave();
    return done;
}

}  // namespace

Outcome Retire(const Options& options) {
    const auto printers = PrintersOf(options);
    if (!printers) {
        return printers.error();
    }
    for (const PrinterEntry& entry : *printers) {
        if (const Outcome retired = RetireOne(options, entry); !retired) {
            return Error{retired.error().code, entry.serial + ": " + retired.error().text};
        }
    }
    return Done{};
}

}  // namespace vantry::bridge
