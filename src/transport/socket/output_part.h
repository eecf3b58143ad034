#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "platform/descriptors.h"
#include "platform/shared_frame.h"

namespace vantry {

/// A part of a frame that is being written; `shared` is empty or holds the text.
struct OutputPart {
    std::string_view text;
    SharedFrame::Text shared;
};

/// How many texts are sent with one call.
inline constexpr std::size_t kPartsAtOnce = 16;

/// Returns the text in the form that a call which sends several texts needs.
inline iovec VectorOf(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
}
/// Returns the texts of a frame.
std::vector<OutputPart> PartsOf(const SharedFrame& frame);
/// Sends as much of the first parts as the socket accepts, with one call that doesn't block.
/// Returns the number of bytes, or a negated error number. `parts` isn't empty.
ssize_t SendFirst(Descriptors& calls, int number, std::span<const OutputPart> parts);

}  // namespace vantry
