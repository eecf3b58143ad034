// How messages leave.
//
// Only one thing is sent at a time where there is room, in this order: the birth, the health, the
// state, new batches. Nothing is queued beyond that: what doesn't fit is a flag, or a batch that
// waits (`waiting`). A batch is remembered (`sent`) until the broker acknowledges it. When the
// connection breaks, what is sent or waits goes to the backlog, in order; so does everything while
// there is no connection. With a connection the backlog is sent behind what is new, one message at
// a time.
//
// How it reacts to its connection is in publisher_link.cpp.

#include "bridge/publisher.h"

#include <algorithm>
#include <utility>

#include "bridge/batch_record.h"
#include "bridge/identity.h"
#include "bridge/plain_documents.h"
#include "bridge/spool.h"

namespace vantry::bridge {
namespace {

constexpr std::size_t kMostWaiting = 64;
constexpr std::uint64_t kBetweenHealths = 1000;
constexpr std::uint64_t kBetweenBirths = 10'000;
constexpr std::size_t kMemoryBacklog = 1U << 20U;

std::unique_ptr<Backlog> MakeBacklog(const Options& options, const PrinterEntry& entry) {
    if (options.spool.empty()) {
        return std::make_unique<MemoryBacklog>(std::min(kMemoryBacklog, options.spoolBytes));
    }
    return std::make_unique<Spool>(std::filesystem::path(options.spool) / entry.serial,
                                   options.spoolBytes);
}

}  // namespace

Publisher::Publisher(Loop& itsLoop, const Options& configuration, const PrinterEntry& itsEntry,
                     const Inventory& all, mqtt::Dialer& itsDialer, Callbacks reactions,
                     std::uint64_t delay)
    : loop(itsLoop),
      options(configuration),
      entry(itsEntry),
      inventory(all),
      dialer(itsDialer),
      callbacks(std::move(reactions)),
      style(MakeStyle(options, entry)),
      backlog(MakeBacklog(options, entry)),
      stateDue(loop, [this] { PublishState(); }),
      healthDue(loop, [this] { PublishHealth(); }),
      stateFull(loop,
                [this] {
                    needsBirth = true;
                    stateFull.Set(kHour);
                    SendWhatFits();
                }),
      history(loop, [this] { SendHistory(); }),
      birthAgain(loop, [this] { SendWhatFits(); }),
      leaving(loop,
              [this] {
                  Disconnect();
                  link->Rejoin();
              }),
      minute(loop, [this] { OnMinute(); }),
      link(MakeLink()) {
    link->Start(delay);
    minute.Set(kMinute);
}

Publisher::~Publisher() {
    Disconnect();
    backlog->Sync();
}

void Publisher::SetComplete() {
    isComplete = true;
    needsBirth = true;
    birthAgain.Cancel();
}

void Publisher::Announce(const Change& change) {
    needsBirth = needsBirth || style->NeedsBirth(change);
    stateDue.SetEarlier(Milliseconds(options.stateSeconds) * slowness);
}

void Publisher::PublishHealth() {
    needsHealth = true;
    SendWhatFits();
}

void Publisher::PublishHealthSoon() { healthDue.SetEarlier(kBetweenHealths * slowness); }

void Publisher::PublishState() {
    needsState = true;
    SendWhatFits();
}

void Publisher::SendOrKeep() {
    SendWhatFits();
    if (!IsReady() || waiting.size() > kMostWaiting) {
        Retreat();
    }
}

void Publisher::SendWhatFits() {
    while (IsReady() && link->HasRoom() && SendOneThing()) {
    }
    if (IsReady() && waiting.empty() && backlog->Count() != 0 && !history.IsSet()) {
        history.Set(Milliseconds(1 / options.historyPerSecond));
    }
}

bool Publisher::SendOneThing() {
    if (needsBirth && !birthAgain.IsSet()) {
        needsBirth = needsHealth = needsState = false;
        stateDue.Cancel();
        healthDue.Cancel();
        birthAgain.Set(kBetweenBirths);
        published = PresentHealth();
        SendAll(style->Birth(inventory, published));
        return true;
    }
    if (std::exchange(needsHealth, false)) {
        published = PresentHealth();
        SendAll(style->HealthUpdate(inventory, published));
        return true;
    }
    if (std::exchange(needsState, false)) {
        stateDue.Cancel();
        SendAll(style->State(inventory, PresentHealth()));
        return true;
    }
    if (waiting.empty()) {
        return false;
    }
    const Batch batch = std::move(waiting.front());
    waiting.pop_front();
    SendBatch(batch, false);
    return true;
}

void Publisher::SendAll(const std::vector<mqtt::Message>& messages) {
    for (const mqtt::Message& message : messages) {
        if (const int number = link->Publish(message); number != 0 && message.qos > 0) {
            sent[number] = Sent{};
        }
    }
}

void Publisher::SendBatch(const Batch& batch, bool isHistory) {
    const std::vector<mqtt::Message> messages = style->Changes(inventory, batch, isHistory);
    int last = 0;
    for (const mqtt::Message& message : messages) {
        const int number = link->Publish(message);
        if (message.qos > 0) {
            sent[number] = Sent{};
            last = number;
        }
    }
    if (last != 0) {
        sent[last] = Sent{batch, isHistory};
        isHistoryUnderWay = isHistoryUnderWay || isHistory;
    } else if (isHistory) {
        backlog->Pop();
    }
}

void Publisher::SendHistory() {
    if (!IsReady() || backlog->Count() == 0) {
        needsHealth = needsHealth || IsReady();
        SendWhatFits();
        return;
    }
    history.Set(Milliseconds(1 / options.historyPerSecond));
    // Before the hub was read once, neither the types of the values nor a birth are known.
    if (!isComplete || isHistoryUnderWay || !waiting.empty() || !link->HasRoom()) {
        return;
    }
    const std::optional<std::string> record = backlog->Front();
    const std::optional<Batch> batch =
        record ? FromRecord(*record, [this](const std::string& key) { return inventory.Find(key); })
               : std::nullopt;
    if (batch) {
        SendBatch(*batch, true);
    } else {
        backlog->Pop();
    }
}

void Publisher::OnMinute() {
    minute.Set(kMinute);
    slowness = std::max<std::uint64_t>(1, slowness / 2);
    const Health health = PresentHealth();
    needsHealth =
        needsHealth || health.dropped != published.dropped || health.waiting != published.waiting;
    SendWhatFits();
}

void Publisher::Retreat() {
    std::vector<Batch> unsent;
    for (const auto& [number, what] : std::exchange(sent, {})) {
        if (what.batch && !what.isHistory) {
            unsent.push_back(*what.batch);
        }
    }
    // The numbers of the link begin again after a while; those of the batches don't.
    std::sort(unsent.begin(), unsent.end(),
              [](const Batch& one, const Batch& other) { return one.number < other.number; });
    unsent.insert(unsent.end(), waiting.begin(), waiting.end());
    waiting.clear();
    for (const Batch& batch : unsent) {
        if (style->KeepsHistory()) {
            backlog->Append(ToRecord(batch));
        }
    }
    isHistoryUnderWay = false;
}

void Publisher::Answer(const Request& request, const Result<std::string>& value) {
    // Writes may come without an end, so an answer that the broker doesn't take isn't kept.
    if (const auto message = AnswerTo(request, value); message && link->IsUp() && link->HasRoom()) {
        SendAll({*message});
    }
}

Health Publisher::PresentHealth() const {
    Health health = callbacks.health();
    health.since = since;
    health.dropped += backlog->Dropped() + refused;
    health.waiting = backlog->Count();
    return health;
}

}  // namespace vantry::bridge
