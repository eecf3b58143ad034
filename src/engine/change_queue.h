#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// The kind of stream over which a change arrived; a change by the hub itself is internal.
enum class ChangeOrigin : std::uint8_t { Internal, External };

/// A bounded stack (499 entries) of changed properties that wait for the next publishing tick.
///
/// When it is full, an internal change takes the place of the newest external one. An external
/// change takes the place of one of the newest external changes whose property has another entry,
/// so that a component that changes one property very often hides no change of the others. Any
/// other change is dropped. All operations are thread-safe and wait for a short lock at most; Push
/// allocates nothing.
class ChangeQueue {
public:
    /// Shares ownership of the property until it is taken out. A change that is dropped is reported
    /// to nobody.
    void Push(const std::shared_ptr<Property>& changed,
              ChangeOrigin origin = ChangeOrigin::Internal);
    /// Removes and returns all entries, newest first. What is pushed meanwhile waits for the next
    /// call, so a pusher that is faster than the caller can't keep it busy for ever.
    [[nodiscard]] std::vector<std::shared_ptr<Property>> TakeAll();

private:
    static constexpr std::uint32_t kSlots = 500;

    struct Slot {
        std::shared_ptr<Property> changed;
        ChangeOrigin origin = ChangeOrigin::Internal;
    };

    /// Requires that there is an external entry.
    Slot* NewestExternal() REQUIRES(lock);
    std::ptrdiff_t EntriesOf(const std::shared_ptr<Property>& property) const REQUIRES(lock);
    /// Returns one of the newest external entries whose property has another entry, or null if
    /// there is none among them or if `changed` has an entry.
    Slot* ReplaceableFor(const std::shared_ptr<Property>& changed) REQUIRES(lock);

    Lock lock;
    /// Written with `lock` held. Pop reads it without, to return early when the stack is empty.
    std::atomic<std::uint32_t> count{0};
    std::uint32_t externals GUARDED_BY(lock) = 0;
    std::array<Slot, kSlots> slots GUARDED_BY(lock);
};

}  // namespace vantry
