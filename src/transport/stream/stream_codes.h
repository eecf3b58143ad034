#pragma once

#include <cstdint>

namespace vantry {

/// What Read and Write of a Stream return when no byte was moved. Above 0 is a count, and 0 says
/// that nothing was moved without an error. Callers treat everything below 1 as the end of the
/// connection and don't tell these apart, except where they say so.
struct StreamCode {
    /// The peer or the link went away in a way that the transport recognises.
    static constexpr std::int32_t kLinkLost = -1;
    /// Input or output error, or no open handle.
    static constexpr std::int32_t kError = -2;
    /// End of data: a closed queue with nothing left, the end of a file, nothing to look at.
    static constexpr std::int32_t kEndOfData = -3;
    /// A write to a file that wasn't opened for writing.
    static constexpr std::int32_t kNotWritable = -4;
};

}  // namespace vantry
