#pragma once

#include <poll.h>

#include "client/deadline.h"
#include "client/endpoint.h"
#include "client/interruption.h"
#include "client/result.h"

namespace vantry::client {

/// Connects to the endpoint and returns a non-blocking socket, which the caller owns. Blocks until
/// the deadline at most, or until the interruption, which may be null. The error is NoConnection
/// and names the endpoint. Thread-safe.
Result<int> ConnectTo(const Endpoint& endpoint, const Deadline& deadline,
                      const Interruption* interruption);

/// Blocks until the descriptor is ready for `events` of poll. Returns false if it isn't ready by
/// the deadline, or when the interruption is set.
[[nodiscard]] bool WaitFor(int descriptor, short events, const Deadline& deadline,
                           const Interruption* interruption = nullptr);

}  // namespace vantry::client
