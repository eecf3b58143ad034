#pragma once

#include "client/deadline.h"
#include "client/endpoint.h"
#include "client/result.h"

namespace vantry::client {

/// Connects to the endpoint and returns a non-blocking socket, which the caller owns. Waits until
/// the deadline at most, but for a host name: how long that is looked up is up to the system. The
/// error names the endpoint.
Result<int> ConnectTo(const Endpoint& endpoint, const Deadline& deadline);

/// Waits until the descriptor is ready for `events` of poll; false if it isn't by the deadline.
bool WaitFor(int descriptor, short events, const Deadline& deadline);

}  // namespace vantry::client
