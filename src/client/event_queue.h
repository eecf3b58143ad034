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

/// A queue by which a thread of the program receives changes: pass Callback() to Hub::Subscribe.
/// The callback shares the state of the queue, so the queue may be destroyed before the
/// subscription. All operations are thread-safe.
class EventQueue {
public:
    /// When `most` changes are queued, a further change replaces the oldest change of the same
    /// property, so that the last value of each property is kept. If there is none of the same
    /// property, the change is added beyond `most`.
    explicit EventQueue(std::size_t most = std::numeric_limits<std::size_t>::max())
        : state(std::make_shared<State>(most)) {}

    /// Returns a callback that adds each change. It never waits for the thread that takes them.
    ChangeCallback Callback() const {
        return [shared = state](const Property& change) { shared->Add(change); };
    }
    /// Removes and returns the oldest change. Blocks until there is one, for `atMost` at most.
    /// Returns nothing if none arrived, or if the queue is closed and empty.
    [[nodiscard]] std::optional<Property> Take(std::chrono::milliseconds atMost) {
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
    /// Makes Take return at once when the queue is empty, also in threads that are waiting. Changes
    /// that arrive later are dropped.
    void Close() {
        const std::lock_guard guard(state->mutex);
        state->isClosed = true;
        state->arrived.notify_all();
    }
    /// Returns whether a change was ever replaced because of the bound.
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
        /// Guards the fields below. It is a standard mutex, which needs no header of the hub,
        /// because programs include this file.
        std::mutex mutex;
        std::condition_variable arrived;
        std::deque<Property> changes;
        bool isClosed = false;
        bool hasOverflowed = false;
    };

    const std::shared_ptr<State> state;
};

}  // namespace vantry::client
