#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/descriptors.h"
#include "platform/wake_up.h"
#include "runtime/lock.h"

namespace vantry {

/// An auto-reset event by which drivers and the hub notify each other: a wait that it ends also
/// resets it. Unlike the runtime's Event, several can be waited for at once. All operations are
/// thread-safe. If the system has no descriptor for it, Set has no effect and waits fail.
class SystemEvent {
public:
    explicit SystemEvent(Descriptors& calls) : descriptors(calls), state(calls) {}
    SystemEvent(const SystemEvent&) = delete;
    SystemEvent& operator=(const SystemEvent&) = delete;

    /// Sets the event and ends one wait for it. Doesn't block.
    void Set() { state.Ring(); }
    /// Resets the event. Doesn't block.
    void Reset() { state.Clear(); }

private:
    friend std::optional<std::size_t> WaitForAny(
        std::span<const std::shared_ptr<SystemEvent>> events);

    Descriptors& descriptors;
    WakeUp state;
};

/// Blocks until one of the events is set, resets it, and returns its index in the list, the lowest
/// if several are set. Returns nothing, without blocking, if the list is empty or has an empty
/// reference or an event without a descriptor. All events are of the same Descriptors. Any number
/// of threads may wait for the same event; one of them gets it.
[[nodiscard]] std::optional<std::size_t> WaitForAny(
    std::span<const std::shared_ptr<SystemEvent>> events);

/// The events of the machine by name. All operations are thread-safe and none blocks.
class SystemEventRegistry {
public:
    /// `calls` must outlive the registry and its events.
    explicit SystemEventRegistry(Descriptors& calls) : descriptors(calls) {}

    /// Returns the event of that name, and creates it if there is none. The registry doesn't own
    /// it: the name is free again when the last reference is released.
    [[nodiscard]] std::shared_ptr<SystemEvent> Create(std::u16string_view name);
    /// Returns the event of that name, or an empty reference if there is none.
    [[nodiscard]] std::shared_ptr<SystemEvent> Open(std::u16string_view name);

private:
    Descriptors& descriptors;
    Mutex lock;
    std::map<std::u16string, std::weak_ptr<SystemEvent>, std::less<>> events GUARDED_BY(lock);
};

}  // namespace vantry
