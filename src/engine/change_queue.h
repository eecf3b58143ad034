#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// Where a change came from.
enum class ChangeOrigin : std::uint8_t { Internal, External };

/// The properties that have changed and not yet been told of, newest on top. Holds 499. When it is
/// full, an internal change takes the place of the newest external one, and any other is dropped.
/// Any thread may push; a push costs a short lock and allocates nothing.
class ChangeQueue {
public:
    void Push(const std::shared_ptr<Property>& changed,
              ChangeOrigin origin = ChangeOrigin::Internal);
    /// Takes the newest entry out. Returns an empty reference if there is none.
    std::shared_ptr<Property> Pop();

private:
    static constexpr std::uint32_t kSlots = 500;

    struct Slot {
        std::shared_ptr<Property> changed;
        ChangeOrigin origin = ChangeOrigin::Internal;
    };

    Slot* NewestExternal() REQUIRES(lock);

    Lock lock;
    /// Written under `lock`; whether there is anything at all may be seen without it.
    std::atomic<std::uint32_t> count{0};
    std::uint32_t externals GUARDED_BY(lock) = 0;
    std::array<Slot, kSlots> slots GUARDED_BY(lock);
};

}  // namespace vantry
