#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// The properties that have changed and not yet been told of, newest on top. Holds 499; what comes
/// then is dropped. Any thread may push; a push costs a short lock and allocates nothing.
class ChangeQueue {
public:
    void Push(const std::shared_ptr<Property>& changed);
    /// The newest entry, or empty if there is none.
    std::shared_ptr<Property> Pop();

private:
    static constexpr std::uint32_t kSlots = 500;

    Lock lock;
    /// Written under `lock`; whether there is anything at all may be seen without it.
    std::atomic<std::uint32_t> count{0};
    std::array<std::shared_ptr<Property>, kSlots> slots GUARDED_BY(lock);
};

}  // namespace vantry
