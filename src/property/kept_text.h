#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/lock.h"

namespace vantry {

/// A text that is derived from a value at the first request and kept until the value changes. All
/// operations are thread-safe.
///
/// Each change increments a version and releases the text, so that a long text of a value that has
/// become short isn't kept. A text has the version that was read before its value was read; it is
/// kept only if that is still the version, so a text that was derived while the value changed is
/// never returned as that of the new value.
class KeptText {
public:
    using Shared = std::shared_ptr<const std::string>;

    /// Releases the kept text. Called after another value was stored.
    void Outdate() {
        Shared outdated;
        ScopedLock guard(lock);
        ++version;
        outdated.swap(text);
    }

    /// Returns the text of the current value, which the caller then shares. Calls `make`, with no
    /// lock held, if no such text is kept.
    template <typename Make>
    Shared Get(const Make& make) const {
        std::uint64_t present = 0;
        {
            ScopedLock guard(lock);
            if (text) {
                return text;
            }
            present = version;
        }
        Shared made = std::make_shared<const std::string>(make());
        ScopedLock guard(lock);
        if (version == present) {
            text = made;
        }
        return made;
    }

private:
    Lock lock;
    std::uint64_t version GUARDED_BY(lock) = 0;
    /// Null, or the text of the current value.
    mutable Shared text GUARDED_BY(lock);
};

}  // namespace vantry
