#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "runtime/lock.h"

namespace vantry {

/// A text that is derived from a value at the first request and kept until the value changes. All
/// operations are thread-safe.
///
/// Each change increments a version. It releases a long text, so that none of a value that has
/// become short is kept. A short one stays until the next text takes its place: so the thread that
/// makes the texts also releases them, and gets the memory of one for the next. A text has the
/// version that was read before its value was read; it is kept only if that is still the version,
/// so a text that was derived while the value changed is never returned as that of the new value.
class KeptText {
public:
    using Shared = std::shared_ptr<const std::string>;

    /// Releases the kept text. Called after another value was stored.
    void Outdate() {
        Shared outdated;
        ScopedLock guard(lock);
        ++version;
        isCurrent = false;
        if (text && text->size() > kShort) {
            outdated.swap(text);
        }
    }

    /// Returns the text of the current value, which the caller then shares. Calls `make`, with no
    /// lock held, if no such text is kept.
    template <typename Make>
    Shared Get(const Make& make) const {
        std::uint64_t present = 0;
        {
            ScopedLock guard(lock);
            if (isCurrent) {
                return text;
            }
            present = version;
        }
        Shared made = std::make_shared<const std::string>(make());
        Shared outdated;
        ScopedLock guard(lock);
        if (version == present) {
            outdated = std::exchange(text, made);
            isCurrent = true;
        }
        return made;
    }

private:
    /// Records have about 300 bytes.
    static constexpr std::size_t kShort = 1'024;

    Mutex lock;
    std::uint64_t version GUARDED_BY(lock) = 0;
    /// Whether `text` is that of the current value. Otherwise it is null or outdated.
    mutable bool isCurrent GUARDED_BY(lock) = false;
    mutable Shared text GUARDED_BY(lock);
};

}  // namespace vantry
