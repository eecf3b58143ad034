#include "host/service_reporter.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace vantry {
namespace {

/// The interval of the status line, if the watchdog doesn't require a shorter one.
constexpr std::uint32_t kUsualMilliseconds = 5'000;
/// The watchdog gets several messages within its time, so that a late one does no harm.
constexpr std::uint32_t kFeedsWithinTime = 3;

/// Returns the number in an environment variable, or 0.
std::uint64_t NumberFrom(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
}

}  // namespace

ServiceReporter::ServiceReporter(const HubStatus& hubStatus, std::string whereTcp)
    : status(hubStatus), tcp(std::move(whereTcp)) {
    if (std::getenv("NOTIFY_SOCKET") == nullptr) {
        return;
    }
    interval = kUsualMilliseconds;
    const std::uint64_t watchdogMicroseconds = NumberFrom("WATCHDOG_USEC");
    const std::uint64_t watched = NumberFrom("WATCHDOG_PID");
    hasWatchdog = watchdogMicroseconds != 0 &&
                  (watched == 0 || watched == static_cast<std::uint64_t>(getpid()));
    if (hasWatchdog) {
        const std::uint64_t wanted = watchdogMicroseconds / 1'000 / kFeedsWithinTime;
        interval =
            static_cast<std::uint32_t>(std::clamp<std::uint64_t>(wanted, 1, kUsualMilliseconds));
    }
}

std::string ServiceReporter::NextMessage() {
    std::string message;
    const std::uint64_t turns = status.publishingTurns;
    if (hasWatchdog && std::exchange(lastTurns, turns) != turns) {
        message = "WATCHDOG=1\n";
    }
    std::string text = "STATUS=" + std::to_string(status.clients) + " clients, " +
                       std::to_string(status.properties) + " properties, " + tcp;
    if (text != lastText) {
        message += text + "\n";
        lastText = std::move(text);
    }
    return message;
}

}  // namespace vantry
