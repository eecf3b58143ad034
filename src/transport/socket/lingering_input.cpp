#include "transport/socket/lingering_input.h"

#include <sys/uio.h>

#include <array>

namespace vantry {
namespace {

constexpr std::size_t kMostDropped = 16U << 20U;
constexpr std::size_t kReceivesAtOnce = 64;

}  // namespace

bool LingeringInput::DropUntilEnd(Descriptors& calls, int number) {
    std::array<char, 16U << 10U> input;
    for (std::size_t times = 0; times < kReceivesAtOnce; ++times) {
        iovec part{input.data(), input.size()};
        const ssize_t count = calls.Receive(number, {&part, 1}, false);
        if (count <= 0) {
            break;
        }
        dropped += static_cast<std::size_t>(count);
    }
    // The result of recv can't be used: the receiving direction may have been shut down in order to
    // end a reader's call. The state of the connection shows whether the peer has ended its side.
    return dropped > kMostDropped || calls.HasPeerEnded(number);
}

}  // namespace vantry
