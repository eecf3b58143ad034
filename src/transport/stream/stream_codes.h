#pragma once

#include <cstdint>

namespace vantry {

/// The results of Read and Write of a Stream that are below 0. A result above 0 is a number of
/// bytes; 0 means that no byte was moved although there was no error. Callers treat every result
/// below 1 as the end of the connection, unless their comment says otherwise.
struct StreamCode {
    /// The transport has recognised that the connection to the peer is lost.
    static constexpr std::int32_t kLinkLost = -1;
    /// The input or output failed, or nothing is open.
    static constexpr std::int32_t kError = -2;
    /// There is no more data: the queue is closed and empty, or the window has no bytes.
    static constexpr std::int32_t kEndOfData = -3;
    /// The file wasn't opened for writing.
    static constexpr std::int32_t kNotWritable = -4;
};

}  // namespace vantry
