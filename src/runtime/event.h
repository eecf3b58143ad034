#pragma once

#include <cstdint>

#include "runtime/event_flags.h"

namespace vantry {

/// An event that is either set or not, built on one bit of an EventFlags. All operations are
/// thread-safe.
class Event {
public:
    /// The event starts not set. With `autoClear`, a wait that succeeds clears it, so each Set lets
    /// one waiter continue; without it, the event stays set until Reset.
    explicit Event(bool autoClear) : flags(autoClear) {}

    /// Sets the event: wakes all waiters or, with `autoClear`, one. Doesn't block.
    void Set() { flags.Set(kBit); }
    void Reset() { flags.Clear(kBit); }
    /// Blocks until the event is set.
    void Wait() { flags.WaitAny(kBit); }
    /// Blocks until the event is set or the time has passed. Returns whether it was set.
    [[nodiscard]] bool Wait(std::uint32_t milliseconds) {
        return flags.WaitAny(kBit, milliseconds) != 0;
    }
    /// See EventFlags::WaitUntil. Nothing in the hub calls it; it keeps an Event as capable as its
    /// EventFlags.
    void WaitUntil(const EventFlags::Predicate& predicate) { flags.WaitUntil(predicate); }

private:
    static constexpr std::uint32_t kBit = 1;

    EventFlags flags;
};

}  // namespace vantry
