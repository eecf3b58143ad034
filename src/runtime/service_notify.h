#pragma once

#include <string_view>

namespace vantry {

/// Sends a state of this process, such as "READY=1", to the service manager that has set
/// NOTIFY_SOCKET. Does nothing without that variable. A failure is ignored, because the program
/// works without a service manager.
void NotifyServiceManager(std::string_view state);

}  // namespace vantry
