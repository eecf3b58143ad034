#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "bridge/backlog.h"
#include "bridge/broker_link.h"
#include "bridge/hub_source.h"
#include "bridge/inventory.h"
#include "bridge/loop.h"
#include "bridge/options.h"
#include "bridge/style.h"
#include "bridge/summary.h"

namespace vantry::bridge {

/// Carries one printer to the broker: what its hub tells becomes messages of the style, and what
/// the broker can't take now is kept. Used by the thread of the loop.
class Printer {
public:
    /// `options` and `descriptions` must live as long as the object. The first attempt to connect
    /// to the broker is made after `delay` milliseconds.
    Printer(Loop& loop, const Options& options, const describe::Descriptions& descriptions,
            const PrinterEntry& entry, std::uint64_t delay);
    /// Ends the connection to the broker in order, and keeps what it hasn't acknowledged. Blocks
    /// for a running attempt to connect to the hub.
    ~Printer();
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;

    /// Connects to the broker again if the files of the encryption have been replaced.
    void RenewEncryption();
    /// Makes sure that what is kept outlives a loss of power.
    void Sync() { backlog->Sync(); }
    const client::Endpoint& Hub() const { return entry.hub; }

private:
    /// What a number of the link stands for.
    struct Sent {
        std::optional<Batch> batch;
        bool isHistory = false;
    };

    std::unique_ptr<BrokerLink> MakeLink();
    void TakeNews();
    void TakeChange(const client::Property& property, std::int64_t time);
    void NoteHub(bool isUp);
    void Flush();
    void SendWhatFits();
    bool SendOneThing();
    void SendAll(const std::vector<mqtt::Message>& messages);
    void SendBatch(const Batch& batch, bool isHistory);
    void SendHistory();
    void OnUp();
    void OnDown(const std::string& why);
    void OnAcknowledged(int number, int reason);
    void OnMessage(const mqtt::Message& message);
    void OnAnswer(const HubSource::Answer& answer);
    /// Keeps everything that is sent and not acknowledged, in order.
    void Retreat();
    void SlowDown();
    std::uint64_t CollectionTime(const Change& change) const;
    Health PresentHealth() const;
    void OnMinute();
    void Say(const std::string& text);

    Loop& loop;
    const Options& options;
    const PrinterEntry entry;
    /// Tells a job of the loop whether this object still exists.
    const std::shared_ptr<bool> alive = std::make_shared<bool>(true);
    const std::int64_t run;
    std::int64_t since = 0;
    bool hasHub = false;
    /// Whether all properties have been read once.
    bool isComplete = false;
    std::string lastWords;
    std::string encryptionStamp;
    Inventory inventory;
    Summary summary;
    const std::unique_ptr<Style> style;
    const std::unique_ptr<Backlog> backlog;
    std::uint64_t refused = 0;
    /// What the health said last.
    Health told;
    std::uint64_t lastNumber = 0;
    /// Changes that are collected, and batches that wait for room.
    std::vector<Change> pending;
    std::deque<Batch> waiting;
    std::map<int, Sent> sent;
    bool isHistoryUnderWay = false;
    /// By what the times of collecting are multiplied, because the broker wants less.
    std::uint64_t slowness = 1;
    bool needsBirth = false;
    bool needsState = false;
    bool needsHealth = false;
    Loop::Timer flush;
    Loop::Timer stateDue;
    /// The errors or the versions have changed.
    Loop::Timer healthDue;
    Loop::Timer stateFull;
    Loop::Timer history;
    Loop::Timer birthAgain;
    /// Each minute: the rate is raised again, and what has changed in the health is told.
    Loop::Timer minute;
    std::unique_ptr<BrokerLink> link;
    std::unique_ptr<HubSource> hub;
};

}  // namespace vantry::bridge
