#pragma once

#include <sys/socket.h>

#include <filesystem>
#include <string>

#include "client/result.h"

namespace vantry::cli {

// These connect and close the connection again. They block for up to two seconds for each address
// that the name has, and for as long as the system takes to look the name up. The error has the
// name and the reason.

/// Connects to a broker given as "mqtt[s]://HOST[:PORT]". That it accepts a connection is enough.
client::Outcome ReachBroker(const std::string& broker);
/// Connects to a hub given as "HOST[:PORT]", which must answer as one.
client::Outcome ReachTcpHub(const std::string& address);
/// Connects to a hub at its local device, which must answer as one.
client::Outcome ReachDevice(const std::filesystem::path& device);

/// Connects to one address and closes the connection again. Blocks for up to two seconds. Returns
/// the number of the error, or 0.
[[nodiscard]] int ConnectError(const sockaddr* address, socklen_t length);

}  // namespace vantry::cli
