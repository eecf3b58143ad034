#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bridge/collector.h"
#include "bridge/hub_source.h"
#include "bridge/inventory.h"
#include "bridge/loop.h"
#include "bridge/options.h"
#include "bridge/publisher.h"
#include "bridge/summary.h"

namespace vantry::bridge {

/// Carries one printer to the broker: receives the updates of its hub, and hands the changes on to
/// be collected and published. Used by the thread of the loop.
class Printer {
public:
    /// `options`, `descriptions` and `dialer` must live as long as the object. The first attempt to
    /// connect to the broker is made after `delay` milliseconds.
    Printer(Loop& loop, const Options& options, const describe::Descriptions& descriptions,
            mqtt::Dialer& dialer, const PrinterEntry& entry, std::uint64_t delay);
    /// Ends the connection to the broker in order, and keeps what it hasn't acknowledged. Blocks
    /// for a running attempt to connect to the hub.
    ~Printer();
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;

    /// Connects to the broker again if the files of the encryption have been replaced.
    void RenewEncryption() { publisher.RenewEncryption(); }
    /// Makes sure that what is kept outlives a loss of power.
    void Sync() { publisher.Sync(); }
    const client::Endpoint& Hub() const { return entry.hub; }

private:
    void ProcessUpdates();
    void TakeChange(const client::Property& property, std::int64_t time);
    void NoteHub(bool isUp);
    void OnWrite(Request request);
    Health PresentHealth() const;
    void Log(const std::string& text);

    const Options& options;
    const PrinterEntry entry;
    /// Tells a job of the loop whether this object still exists.
    const std::shared_ptr<bool> alive = std::make_shared<bool>(true);
    const std::int64_t run;
    bool hasHub = false;
    /// Whether all properties have been read once.
    bool isComplete = false;
    std::string lastLogged;
    Inventory inventory;
    Summary summary;
    std::unique_ptr<HubSource> hub;
    Publisher publisher;
    Collector collector;
};

}  // namespace vantry::bridge
