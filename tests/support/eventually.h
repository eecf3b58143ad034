#pragma once

#include <chrono>
#include <thread>

namespace vantry::test {

/// Timeout; reached only when a test fails.
constexpr int kPatienceMilliseconds = 30'000;

/// Waits until `condition` holds. Returns false if it doesn't within the timeout.
template <typename Condition>
[[nodiscard]] bool Eventually(const Condition& condition) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMilliseconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace vantry::test
