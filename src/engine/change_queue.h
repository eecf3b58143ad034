#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// The kind of stream over which a change arrived; a change by the hub itself is internal.
enum class ChangeOrigin : std::uint8_t { Internal, External };

/// A bounded stack (499 entries) of changed properties that wait for the next publishing tick.
///
/// When it is full, an internal change takes the place of the newest external one. An external
/// change of a property without an entry takes the place of an external one whose property has
/// another entry, so that a component that changes some properties very often hides no change of
/// the others. Any other change is dropped. All operations are thread-safe and wait for a short
/// lock at most.
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

    /// What is known about the entries of a full stack, so that no change has to be compared with
    /// all of them. Empty until an external change comes to a full stack.
    struct Census {
        /// How many entries each property has. A property that has lost its entries may be here.
        std::unordered_map<const Property*, std::uint32_t> entries;
        /// The places of external entries whose property had another one, the newest last.
        std::vector<std::uint32_t> repeated;
    };

    /// Requires that there is an external entry.
    Slot& NewestExternal() REQUIRES(lock);
    void CountEntries() REQUIRES(lock);
    /// Returns an external entry whose property has another entry, or null if there is none or if
    /// `changed` has an entry. The first call for a full stack counts its entries.
    Slot* ReplaceableFor(const Property& changed) REQUIRES(lock);
    /// Returns the property that was in the slot.
    std::shared_ptr<Property> Replace(Slot& slot, Slot replacement) REQUIRES(lock);

    Mutex lock;
    /// Written with `lock` held. TakeAll reads it without, to return early when the stack is empty.
    std::atomic<std::uint32_t> count{0};
    std::uint32_t externals GUARDED_BY(lock) = 0;
    std::array<Slot, kSlots> slots GUARDED_BY(lock);
    Census census GUARDED_BY(lock);
};

}  // namespace vantry
