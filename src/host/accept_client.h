#pragma once

namespace vantry {

/// The result of an attempt to accept a client.
struct Accepted {
    /// The connection, which the caller owns, or -1 if there is none.
    int descriptor;
    /// Whether the machine has no descriptor or memory for one more at the moment. The caller
    /// pauses then, because the listening socket stays readable.
    bool exhausted;
};

/// Accepts a client of a non-blocking listening socket. Doesn't block. A descriptor below 0 gives
/// no client.
[[nodiscard]] Accepted AcceptClient(int listening);

}  // namespace vantry
