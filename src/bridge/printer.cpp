// The way of a change through the program.
//
// A change is entered in the inventory and collected (`pending`). When the time of collecting is
// over, what is collected becomes one or more numbered batches, which wait for room in the link
// (`waiting`) and are then sent (`sent`) until the broker acknowledges them. When the connection
// breaks, what is sent or waits goes to the backlog, in order; so does everything while there is no
// connection. With a connection the backlog is sent behind what is new, one message at a time.
//
// Only one thing is sent at a time where there is room, in this order: the birth, the health, the
// state, new batches. Nothing is queued beyond that: what doesn't fit is a flag, or a batch that
// waits.

#include "bridge/printer.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "bridge/batch_record.h"
#include "bridge/identity.h"
#include "bridge/plain_documents.h"
#include "bridge/spool.h"
#include "describe/glob.h"

namespace vantry::bridge {
namespace {

constexpr std::size_t kMostChangesOfABatch = 200;
constexpr std::size_t kMostBytesOfABatch = 48U << 10U;
constexpr std::size_t kMostWaiting = 64;
constexpr std::uint64_t kHour = 3'600'000;
constexpr std::uint64_t kBetweenHealths = 1000;
constexpr std::uint64_t kBetweenBirths = 10'000;
constexpr std::uint64_t kMostSlowness = 64;
constexpr std::uint64_t kMinute = 60'000;
constexpr std::size_t kMemoryBacklog = 1U << 20U;
constexpr int kFirstRefusal = 0x80;
constexpr int kQuotaExceeded = 0x97;

std::unique_ptr<Backlog> MakeBacklog(const Options& options, const PrinterEntry& entry) {
    if (options.spool.empty()) {
        return std::make_unique<MemoryBacklog>(std::min(kMemoryBacklog, options.spoolBytes));
    }
    return std::make_unique<Spool>(std::filesystem::path(options.spool) / entry.serial,
                                   options.spoolBytes);
}

std::uint64_t Milliseconds(double seconds) { return static_cast<std::uint64_t>(seconds * 1000); }

}  // namespace

Printer::Printer(Loop& itsLoop, const Options& configuration,
                 const describe::Descriptions& descriptions, const PrinterEntry& itsEntry,
                 std::uint64_t delay)
    : loop(itsLoop),
      options(configuration),
      entry(itsEntry),
      run(NowSince1970()),
      inventory(descriptions, options.allGroups, options.deadbands),
      style(MakeStyle(options, entry)),
      backlog(MakeBacklog(options, entry)),
      flush(loop, [this] { Flush(); }),
      stateDue(loop,
               [this] {
                   needsState = true;
                   SendWhatFits();
               }),
      healthDue(loop,
                [this] {
                    needsHealth = true;
                    SendWhatFits();
                }),
      stateFull(loop,
                [this] {
                    needsBirth = true;
                    stateFull.Set(kHour);
                    SendWhatFits();
                }),
      history(loop, [this] { SendHistory(); }),
      birthAgain(loop, [this] { SendWhatFits(); }),
      minute(loop, [this] { OnMinute(); }),
      link(MakeLink()) {
    link->Start(delay);
    minute.Set(kMinute);
    hub = std::make_unique<HubSource>(entry.hub, [this, exists = std::weak_ptr(alive)] {
        loop.Post([this, exists] {
            if (exists.lock()) {
                TakeNews();
            }
        });
    });
}

Printer::~Printer() {
    TakeNews();
    Flush();
    hub.reset();
    if (link->IsUp()) {
        SendAll(style->Death(PresentHealth()));
    }
    Retreat();
    link->Leave();
    backlog->Sync();
}

std::unique_ptr<BrokerLink> Printer::MakeLink() {
    BrokerLink::Settings settings;
    settings.connection = ConnectionFor(options, entry.serial);
    settings.filters = style->Filters();
    settings.firstPause = Milliseconds(options.reconnectFirstSeconds);
    settings.longestPause = Milliseconds(options.reconnectLongestSeconds);
    encryptionStamp = settings.connection.tls.Stamp();
    BrokerLink::Callbacks reactions;
    reactions.onConnecting = [this] {
        since = NowSince1970();
        return style->Will(PresentHealth());
    };
    reactions.onUp = [this] { OnUp(); };
    reactions.onDown = [this](const std::string& why) { OnDown(why); };
    reactions.onProblem = [this](const std::string& what) { Say(what); };
    reactions.onMessage = [this](const mqtt::Message& message) { OnMessage(message); };
    reactions.onAcknowledged = [this](int number, int reason) { OnAcknowledged(number, reason); };
    reactions.onRoom = [this] { SendWhatFits(); };
    return std::make_unique<BrokerLink>(loop, std::move(settings), std::move(reactions));
}

void Printer::RenewEncryption() {
    if (ConnectionFor(options, entry.serial).tls.Stamp() == encryptionStamp) {
        return;
    }
    Say("the certificates have changed; connecting with the new ones");
    Retreat();
    link->Leave();
    link = MakeLink();
    link->Start(0);
}

void Printer::TakeNews() {
    for (const HubSource::News& news : hub ? hub->Take() : std::vector<HubSource::News>()) {
        switch (news.kind) {
            case HubSource::News::Kind::Value:
                TakeChange(news.property, news.time);
                break;
            case HubSource::News::Kind::Up:
                NoteHub(true);
                break;
            case HubSource::News::Kind::Down:
                NoteHub(false);
                break;
            case HubSource::News::Kind::Problem:
                Say(news.text);
                break;
            case HubSource::News::Kind::Answered:
                OnAnswer(*news.answer);
                break;
        }
    }
    SendWhatFits();
}

void Printer::TakeChange(const client::Property& property, std::int64_t time) {
    if (summary.Enter(property)) {
        healthDue.SetEarlier(kBetweenHealths * slowness);
    }
    std::optional<Change> change = inventory.Enter(property, time);
    // What the hub has at the begin is told by the birth.
    if (!change || !isComplete) {
        return;
    }
    if (style->NeedsBirth(*change)) {
        needsBirth = true;
    }
    flush.SetEarlier(CollectionTime(*change));
    stateDue.SetEarlier(Milliseconds(options.stateSeconds) * slowness);
    pending.push_back(std::move(*change));
    if (pending.size() >= kMostChangesOfABatch) {
        Flush();
    }
}

std::uint64_t Printer::CollectionTime(const Change& change) const {
    const bool isUrgent =
        std::any_of(options.urgent.begin(), options.urgent.end(), [&](const std::string& glob) {
            return describe::GlobMatches(glob, change.subject->key, describe::LetterCase::Exact);
        });
    if (isUrgent) {
        return 0;
    }
    const bool isNumber = change.subject->description.type == client::ValueType::Number;
    return Milliseconds(isNumber ? options.numberSeconds : options.batchSeconds) * slowness;
}

void Printer::NoteHub(bool isUp) {
    if (hasHub == isUp && isComplete) {
        return;
    }
    hasHub = isUp;
    needsHealth = true;
    Say(isUp ? "connected to the hub at " + entry.hub.Name()
             : "lost the hub at " + entry.hub.Name());
    needsState = needsState || isUp;
    if (isUp && !isComplete) {
        isComplete = true;
        needsBirth = true;
        birthAgain.Cancel();
    }
}

void Printer::Flush() {
    flush.Cancel();
    Batch batch{run, 0, {}};
    std::size_t bytes = 0;
    const auto close = [&] {
        if (!batch.changes.empty()) {
            batch.number = ++lastNumber;
            waiting.push_back(std::exchange(batch, Batch{run, 0, {}}));
            bytes = 0;
        }
    };
    for (Change& change : pending) {
        bytes += change.subject->key.size() + change.value.size();
        if (bytes > kMostBytesOfABatch || batch.changes.size() >= kMostChangesOfABatch) {
            close();
        }
        batch.changes.push_back(std::move(change));
    }
    close();
    pending.clear();
    SendWhatFits();
    if (!link->IsUp() || waiting.size() > kMostWaiting) {
        Retreat();
    }
}

void Printer::SendWhatFits() {
    while (link->IsUp() && link->HasRoom() && SendOneThing()) {
    }
    if (link->IsUp() && waiting.empty() && backlog->Count() != 0 && !history.IsSet()) {
        history.Set(Milliseconds(1 / options.historyPerSecond));
    }
}

bool Printer::SendOneThing() {
    if (needsBirth && !birthAgain.IsSet()) {
        needsBirth = needsHealth = needsState = false;
        stateDue.Cancel();
        birthAgain.Set(kBetweenBirths);
        told = PresentHealth();
        SendAll(style->Birth(inventory, told));
        return true;
    }
    if (std::exchange(needsHealth, false)) {
        told = PresentHealth();
        SendAll(style->HealthNews(inventory, told));
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

void Printer::SendAll(const std::vector<mqtt::Message>& messages) {
    for (const mqtt::Message& message : messages) {
        if (const int number = link->Publish(message); number != 0 && message.qos > 0) {
            sent[number] = Sent{};
        }
    }
}

void Printer::SendBatch(const Batch& batch, bool isHistory) {
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

void Printer::SendHistory() {
    if (!link->IsUp() || backlog->Count() == 0) {
        needsHealth = needsHealth || link->IsUp();
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

void Printer::OnUp() {
    Say("connected to the broker at " + options.broker.Name());
    birthAgain.Cancel();
    needsBirth = true;
    stateFull.Set(kHour);
}

void Printer::OnDown(const std::string& why) {
    Say(why);
    Retreat();
}

void Printer::OnMinute() {
    minute.Set(kMinute);
    slowness = std::max<std::uint64_t>(1, slowness / 2);
    const Health health = PresentHealth();
    needsHealth = needsHealth || health.dropped != told.dropped || health.waiting != told.waiting;
    SendWhatFits();
}

void Printer::Retreat() {
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

void Printer::OnAcknowledged(int number, int reason) {
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
        Say("the broker refuses a message: " + mqtt::WordsOfReason(reason));
    }
    if (what.isHistory) {
        backlog->Pop();
    }
}

void Printer::SlowDown() {
    slowness = std::min(kMostSlowness, slowness * 2);
    minute.Set(kMinute);
    Say("the broker wants fewer messages; sending at a lower rate");
}

void Printer::OnMessage(const mqtt::Message& message) {
    std::optional<Request> request = style->Read(inventory, message);
    if (!request) {
        return;
    }
    if (request->kind == Request::Kind::Rebirth) {
        needsBirth = true;
        SendWhatFits();
        return;
    }
    if (!request->refusal) {
        const std::string& key = request->subject->key;
        const bool isAllowed = std::any_of(
            options.allowWrite.begin(), options.allowWrite.end(), [&](const std::string& glob) {
                return describe::GlobMatches(glob, key, describe::LetterCase::Exact);
            });
        auto value = describe::Fit(request->subject->description, key, request->value);
        if (!isAllowed) {
            request->refusal = Error{ErrorCode::Refused, "\"" + key + "\" may not be written"};
        } else if (!hasHub) {
            request->refusal = Error{ErrorCode::NoConnection, "the hub isn't there"};
        } else if (!value) {
            request->refusal = value.error();
        } else {
            request->value = *value;
        }
    }
    if (request->refusal) {
        const Error refusal = *request->refusal;
        OnAnswer({std::move(*request), refusal});
    } else {
        hub->Write(std::move(*request));
    }
}

void Printer::OnAnswer(const HubSource::Answer& answer) {
    if (const auto message = AnswerTo(answer.request, answer.value); message && link->IsUp()) {
        SendAll({*message});
    }
}

Health Printer::PresentHealth() const {
    return {run,
            since,
            hasHub,
            backlog->Dropped() + refused + (hub ? hub->LeftOut() : 0),
            backlog->Count(),
            summary.Errors(),
            summary.Firmware()};
}

void Printer::Say(const std::string& text) {
    if (text != lastWords) {
        std::fprintf(stderr, "vantry-bridge: %s: %s\n", entry.serial.c_str(), text.c_str());
        lastWords = text;
    }
}

}  // namespace vantry::bridge
