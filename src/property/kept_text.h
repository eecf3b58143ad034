#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "runtime/lock.h"

namespace vantry {

/// A text that is made of a value when somebody first asks for it, and kept until the value
/// changes. Any thread may call any operation.
///
/// Each change raises a version. A text belongs to the version that was read before its value was,
/// so a text that met a change half way is never taken for the new value's.
class KeptText {
public:
    using Shared = std::shared_ptr<const std::string>;

    /// Says that another value has been stored.
    void Outdate() { version.fetch_add(1); }

    /// Returns the text, which `make` makes if there is none of the present value. Nothing is
    /// locked while it does.
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
