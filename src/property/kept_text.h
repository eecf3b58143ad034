#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "runtime/lock.h"

namespace vantry {

/// A text that is derived from a value at the first request and kept until the value changes. All
/// operations are thread-safe.
///
/// Each change increments a version. A text has the version that was read before its value was
/// read, so a text that was derived while the value changed is never returned as that of the new
/// value.
class KeptText {
public:
    using Shared = std::shared_ptr<const std::string>;

    /// Makes the kept text outdated. Called after another value was stored.
    void Outdate() { version.fetch_add(1); }

    /// Returns the text of the current value, which the caller then shares. Calls `make`, with no
    /// lock held, if no such text is kept.
    template <typename Make>
    Shared Get(const Make& make) const {
        const std::uint64_t present = version;
        {
            ScopedLock guard(lock);
            if (madeOf == present) {
                return text;
            }
        }
        Shared made = std::make_shared<const std::string>(make());
        ScopedLock guard(lock);
        if (madeOf < present) {
            madeOf = present;
            text = made;
        }
        return made;
    }

private:
    std::atomic<std::uint64_t> version{1};
    Lock lock;
    mutable std::uint64_t madeOf GUARDED_BY(lock) = 0;
    mutable Shared text GUARDED_BY(lock);
};

}  // namespace vantry
