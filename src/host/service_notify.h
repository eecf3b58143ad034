#pragma once

#include <string_view>

namespace vantry {

/// Tells the service manager that has set NOTIFY_SOCKET about this process, such as "READY=1".
/// Does nothing without one.
void NotifyServiceManager(std::string_view state);

}  // namespace vantry
