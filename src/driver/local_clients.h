#pragma once

#include <memory>

#include "transport/stream/stream.h"

namespace vantry {

/// Starts a session for a client of the local device that the program around the hub has accepted.
/// `client` is an internal stream, which the hub then shares. It is for a program that is linked
/// with the hub; others open the device. Returns false, with the stream closed, if there is no hub
/// or no thread for the session. Any thread may call it; it doesn't block.
[[nodiscard]] bool ServeLocalClient(const std::shared_ptr<Stream>& client);

}  // namespace vantry
