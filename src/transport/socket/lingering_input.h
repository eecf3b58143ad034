#pragma once

#include <cstddef>

#include "platform/descriptors.h"

namespace vantry {

/// The input of a connection that is closed and still sends its last output.
///
/// A connection that is closed with unread input is reset. Over TCP a reset drops what the peer
/// hasn't received; any peer sees an error in place of the end of the stream. So the input is read
/// and dropped, over TCP until the peer ends its side, too. Not thread-safe.
class LingeringInput {
public:
    /// Drops the input that has arrived, without blocking. Returns whether the peer has ended its
    /// side, or sends too much. `number` is the socket.
    [[nodiscard]] bool DropUntilEnd(Descriptors& calls, int number);

private:
    std::size_t dropped = 0;
};

}  // namespace vantry
