#pragma once

#include <filesystem>
#include <string>

#include "client/result.h"

namespace vantry::cli {

// These connect to an address and give the connection up again. They block for up to two seconds.
// The error tells the address and the reason.

/// A broker as "mqtt[s]://HOST[:PORT]".
client::Outcome ReachBroker(const std::string& broker);
/// A hub as "HOST[:PORT]", which must answer as one.
client::Outcome ReachTcpHub(const std::string& address);
/// A hub at its local device, which must answer as one.
client::Outcome ReachDevice(const std::filesystem::path& device);

}  // namespace vantry::cli
