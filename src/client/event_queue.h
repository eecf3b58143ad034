#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "client/property.h"

namespace vantry::client {

/// Changes to be taken by a thread of the program's own, instead of a callback: give Callback() to
/// Hub::Subscribe. Shared with that callback, so it may go before the subscription. Any thread may
/// call the operations.
class EventQueue {
public:
    /// When `most` changes wait, a further one takes the place of the oldest change of the same
    /// property, so that the last value of each is kept; of a property without a waiting change it
    /// is added all the same.
    explicit EventQueue(std::size_t most = std::numeric_limits<std::size_t>::max())
        : state(std::make_shared<State>(most)) {}

    ChangeCallback Callback() const {
        return [shared = state](const Property& change) { shared->Add(change); };
    }
    /// Returns the oldest change. Waits for one, for at most so long; nothing if none came, or if
    /// the queue was closed and none is left.
    std::optional<Property> Take(std::chrono::milliseconds atMost) {
        std::unique_lock guard(state->mutex);
        state->arrived.wait_for(guard, atMost,
                                [&] { return !state->changes.empty() || state->isClosed; });
        if (state->changes.empty()) {
            return std::nullopt;
        }
        Property change = std::move(state->changes.front());
        state->changes.pop_front();
        return change;
    }
    /// Wakes whoever waits in Take, now and from now on. Changes that come later are dropped.
    void Close() {
        const std::lock_guard guard(state->mutex);
        state->isClosed = true;
        state->arrived.notify_all();
    }
    /// Whether a change was ever left out because of the bound.
    bool HasOverflowed() const {
        const std::lock_guard guard(state->mutex);
        return state->hasOverflowed;
    }

private:
    struct State {
        explicit State(std::size_t bound) : most(bound) {}

        void Add(const Property& change) {
            const std::lock_guard guard(mutex);
            if (isClosed) {
                return;
            }
            if (changes.size() >= most) {
                const auto same =
                    std::find_if(changes.begin(), changes.end(),
                                 [&](const Property& other) { return other.id == change.id; });
                if (same != changes.end()) {
                    changes.erase(same);
                    hasOverflowed = true;
                }
            }
            changes.push_back(change);
            arrived.notify_one();
        }

        const std::size_t most;
        std::mutex mutex;
        std::condition_variable arrived;
        std::deque<Property> changes;
        bool isClosed = false;
        bool hasOverflowed = false;
    };

    const std::shared_ptr<State> state;
};

}  // namespace vantry::client
