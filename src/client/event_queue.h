#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "client/property.h"

namespace vantry::client {

/// Changes to be taken by a thread of the program's own, instead of a callback: give Callback() to
/// Hub::Subscribe. Shared with that callback, so it may go before the subscription. Any thread may
/// call the operations.
class EventQueue {
public:
    ChangeCallback Callback() const {
        return [shared = state](const Property& change) {
            const std::lock_guard guard(shared->mutex);
            shared->changes.push_back(change);
            shared->arrived.notify_one();
        };
    }
    /// The oldest change; waits for one, for at most so long.
    std::optional<Property> Take(std::chrono::milliseconds atMost) {
        std::unique_lock guard(state->mutex);
        if (!state->arrived.wait_for(guard, atMost, [&] { return !state->changes.empty(); })) {
            return std::nullopt;
        }
        Property change = std::move(state->changes.front());
        state->changes.pop_front();
        return change;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable arrived;
        std::deque<Property> changes;
    };

    const std::shared_ptr<State> state = std::make_shared<State>();
};

}  // namespace vantry::client
