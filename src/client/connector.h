#pragma once

#include "client/deadline.h"
#include "client/endpoint.h"
#include "client/result.h"

namespace vantry::client {

/// Connects to the endpoint and returns a non-blocking socket, which the caller owns. Blocks until
/// the deadline at most, except for the look-up of a host name, whose time the system decides. The
/// error is NoConnection and names the endpoint. Thread-safe.
Result<int> ConnectTo(const Endpoint& endpoint, const Deadline& deadline);

/// Blocks until the descriptor is ready for `events` of poll. Returns false if it isn't ready by
/// the deadline.
[[nodiscard]] bool WaitFor(int descriptor, short events, const Deadline& deadline);

}  // namespace vantry::client
