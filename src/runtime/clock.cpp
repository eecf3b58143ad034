#include "runtime/clock.h"

#include <ctime>

namespace vantry {

std::uint64_t NowNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace vantry
