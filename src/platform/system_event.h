#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "runtime/lock.h"

namespace vantry {

/// An auto-reset event of the operating system, by which drivers and the hub tell each other that
/// something has happened. Unlike the hub's own Event, several can be waited for at once.
/// Safe for any number of threads.
class SystemEvent {
public:
    SystemEvent();
    ~SystemEvent();
    SystemEvent(const SystemEvent&) = delete;
    SystemEvent& operator=(const SystemEvent&) = delete;

    void Set();
    void Reset();

private:
    friend std::optional<std::size_t> WaitForAny(
        std::span<const std::shared_ptr<SystemEvent>> events);

    /// True if the event was set, and takes it.
    bool Take();

    int descriptor;
};

/// Waits until one of the events is set, takes it, and gives its place in the list; the first one
/// wins. Nothing, at once, if the list holds an empty reference: the wait has failed.
std::optional<std::size_t> WaitForAny(std::span<const std::shared_ptr<SystemEvent>> events);

/// The events of the machine by name. Safe for any number of threads.
class SystemEventRegistry {
public:
    /// The event of that name, made if there is none. It exists as long as somebody holds it.
    std::shared_ptr<SystemEvent> Create(std::u16string_view name);
    /// The event of that name, or an empty reference.
    std::shared_ptr<SystemEvent> Open(std::u16string_view name);

private:
    Lock lock;
    std::map<std::u16string, std::weak_ptr<SystemEvent>, std::less<>> events GUARDED_BY(lock);
};

}  // namespace vantry
