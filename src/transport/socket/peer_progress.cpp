#include "transport/socket/peer_progress.h"

#include "runtime/clock.h"

namespace vantry {
namespace {

/// A peer must receive one part in so many of what waits within the stall time.
constexpr std::size_t kPartDue = 256;

}  // namespace

bool PeerProgress::HasStalled(int queued, std::size_t waiting, std::uint32_t stallMilliseconds) {
    const std::int64_t received = Received(queued);
    const std::uint64_t now = NowNanoseconds();
    if (periodStart == 0 || received - receivedAtStart >= due) {
        periodStart = now;
        receivedAtStart = received;
        due = static_cast<std::int64_t>(waiting / kPartDue + 1);
        return false;
    }
    return now - periodStart >= stallMilliseconds * kNanosecondsPerMillisecond;
}

}  // namespace vantry
