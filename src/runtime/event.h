#pragma once

#include <cstdint>

#include "runtime/event_flags.h"

namespace vantry {

/// A one-bit face on an EventFlags: set, reset, wait. Safe for any number of threads.
class Event {
public:
    explicit Event(bool autoClear) : flags(autoClear) {}

    void Set() { flags.Set(kBit); }
    void Reset() { flags.Clear(kBit); }
    void Wait() { flags.WaitAny(kBit); }
    /// True if the event was set within the time.
    [[nodiscard]] bool Wait(std::uint32_t milliseconds) {
        return flags.WaitAny(kBit, milliseconds) != 0;
    }
    void WaitUntil(const EventFlags::Predicate& predicate) { flags.WaitUntil(predicate); }

private:
    static constexpr std::uint32_t kBit = 1;

    EventFlags flags;
};

}  // namespace vantry
