#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <vector>

#include "client/deadline.h"
#include "client/interruption.h"
#include "client/result.h"

namespace vantry::client {

/// Returns the addresses of a host, which may be a name or an address itself. Blocks until the
/// deadline at most, or until the interruption, which may be null. Returns TimedOut at the deadline
/// and otherwise NoConnection, with the reason as text. Thread-safe.
Result<std::vector<sockaddr_in>> LookUp(const std::string& host, std::uint16_t port,
                                        const Deadline& deadline, const Interruption* interruption);

}  // namespace vantry::client
