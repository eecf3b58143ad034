#pragma once

#include <cstdint>
#include <string>

#include "platform/hub_status.h"

namespace vantry {

/// Makes the messages that the service manager gets from a running hub: that the hub is alive, as
/// often as the watchdog requires it, and a status line for the operator. For one thread.
///
/// The hub counts as alive while its publishing thread finishes periods. If that thread hangs, no
/// message for the watchdog is made, and the service manager restarts the service.
class ServiceReporter {
public:
    /// Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID from the environment. `hubStatus` must
    /// outlive the object. The status line says `whereTcp` after the numbers.
    ServiceReporter(const HubStatus& hubStatus, std::string whereTcp);

    /// Returns how long to wait between two reports, in milliseconds; 0 if there is no service
    /// manager.
    std::uint32_t IntervalMilliseconds() const { return interval; }
    /// Returns the next message for NotifyServiceManager, which is empty if nothing has changed.
    [[nodiscard]] std::string NextMessage();

private:
    const HubStatus& status;
    const std::string tcp;
    bool hasWatchdog = false;
    std::uint32_t interval = 0;
    std::uint64_t lastTurns = 0;
    std::string lastText;
};

}  // namespace vantry
