#pragma once

#include <cstdint>
#include <string>

#include "platform/hub_status.h"

namespace vantry {

/// Says what the service manager should hear of a running hub: that it is alive, as its watchdog
/// wants it, and in a line for people how much it serves. For one thread.
///
/// The hub counts as alive while its publishing thread takes turns. If that thread hangs, nothing
/// feeds the watchdog any more, and the service manager starts the service anew.
class ServiceReporter {
public:
    /// Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID from the environment. `hubStatus` must
    /// outlive the object.
    explicit ServiceReporter(const HubStatus& hubStatus);

    /// How long to wait between two reports, in milliseconds; 0 if nobody wants any.
    std::uint32_t IntervalMilliseconds() const { return interval; }
    /// Returns the next message for NotifyServiceManager, which is empty if there is nothing new.
    std::string NextMessage();

private:
    const HubStatus& status;
    bool hasWatchdog = false;
    std::uint32_t interval = 0;
    std::uint64_t lastTurns = 0;
    std::string lastText;
};

}  // namespace vantry
