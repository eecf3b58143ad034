#pragma once

#include <chrono>
#include <thread>

namespace vantry::test {

/// A bound that only a fault reaches.
constexpr int kPatienceMilliseconds = 30'000;

/// Waits until `condition` holds; false when it hasn't after a generous time.
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
