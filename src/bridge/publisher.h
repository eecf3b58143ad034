#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bridge/backlog.h"
#include "bridge/broker_link.h"
#include "bridge/inventory.h"
#include "bridge/loop.h"
#include "bridge/options.h"
#include "bridge/style.h"

namespace vantry::bridge {

/// The broker's side of a printer: makes messages of the style, sends them in the order of their
/// weight, and keeps what the broker can't take now. Used by the thread of the loop.
class Publisher {
public:
    struct Callbacks {
        /// Returns the health, except for what the publisher knows itself.
        std::function<Health()> health;
        /// A client of the broker wants a property to be written.
        std::function<void(Request)> onWrite;
        /// Writes a line for the operator to standard error.
        std::function<void(const std::string&)> log;
    };

    /// `options` and `inventory` must live as long as the object. The first attempt to connect is
    /// made after `delay` milliseconds.
    Publisher(Loop& loop, const Options& options, const PrinterEntry& entry,
              const Inventory& inventory, mqtt::Dialer& dialer, Callbacks callbacks,
              std::uint64_t delay);
    /// Ends the connection in order, and keeps what the broker hasn't acknowledged.
    ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Connects again if the files of the encryption have been replaced.
    void RenewEncryption();
    /// Makes sure that what is kept outlives a loss of power.
    void Sync() { backlog->Sync(); }

    /// Notes that all properties are known, so that they can be published.
    void SetComplete();
    /// Sends a birth as soon as there is room, if the change needs one.
    void Announce(const Change& change);
    /// Sends the health as soon as there is room.
    void PublishHealth();
    /// Does the same within a second, so that changes that come together are sent as one.
    void PublishHealthSoon();
    /// Sends the document of all values as soon as there is room.
    void PublishState();
    /// Adds a batch to what waits.
    void Put(Batch batch) { waiting.push_back(std::move(batch)); }
    /// Sends what there is room for, and keeps the rest if it is much or there is no connection.
    void SendOrKeep();
    /// Sends what there is room for, in the order of its weight. The rest stays in memory.
    void SendWhatFits();
    /// Sends the answer to a write, if there is somebody to get it and the broker takes it.
    void Answer(const Request& request, const Result<std::string>& value);
    /// Returns by what the times of collecting are to be multiplied, because the broker wants less.
    std::uint64_t Slowness() const { return slowness; }

private:
    /// In milliseconds.
    static constexpr std::uint64_t kMinute = 60'000;
    static constexpr std::uint64_t kHour = 3'600'000;

    /// The message to which the link has given a number.
    struct Sent {
        std::optional<Batch> batch;
        bool isHistory = false;
    };

    std::unique_ptr<BrokerLink> MakeLink();
    /// Returns whether messages may be sent: the broker is there, and the host if one is needed.
    bool IsReady() const { return link->IsUp() && (!style->NeedsHost() || hasHost); }
    bool SendOneThing();
    void SendAll(const std::vector<mqtt::Message>& messages);
    void SendBatch(const Batch& batch, bool isHistory);
    void SendHistory();
    void OnUp();
    void OnAcknowledged(int number, int reason);
    void OnMessage(const mqtt::Message& message);
    void OnHost(bool isThere);
    /// Keeps everything that is sent and not acknowledged, in order.
    void Retreat();
    void Disconnect();
    void SlowDown();
    void OnMinute();
    Health PresentHealth() const;

    Loop& loop;
    const Options& options;
    const PrinterEntry entry;
    const Inventory& inventory;
    mqtt::Dialer& dialer;
    const Callbacks callbacks;
    const std::unique_ptr<Style> style;
    const std::unique_ptr<Backlog> backlog;
    std::string encryptionStamp;
    std::int64_t since = 0;
    std::uint64_t refused = 0;
    bool isComplete = false;
    /// Whether the host that the style needs has said that it is there.
    bool hasHost = false;
    /// The health that was published last.
    Health published;
    std::deque<Batch> waiting;
    std::map<int, Sent> sent;
    bool isHistoryUnderWay = false;
    std::uint64_t slowness = 1;
    bool needsBirth = false;
    bool needsState = false;
    bool needsHealth = false;
    Loop::Timer stateDue;
    Loop::Timer healthDue;
    /// Everything is published again each hour.
    Loop::Timer stateFull;
    Loop::Timer history;
    Loop::Timer birthAgain;
    /// The host has gone.
    Loop::Timer leaving;
    /// Each minute: the rate is raised again, and what has changed in the health is sent.
    Loop::Timer minute;
    std::unique_ptr<BrokerLink> link;
};

}  // namespace vantry::bridge
