#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "runtime/lock.h"

namespace vantry {

/// A text that is derived from a value at the first request and kept until the value changes. All
/// operations are thread-safe.
///
/// Each change increments a version. It releases a long text, so that none of a value that has
/// become short is kept. A short one stays, for the next text to be made of it: most of a record is
/// the same for every value. A text has the version that was read before its value was read; it is
/// kept only if that is still the version, so a text that was derived while the value changed is
/// never returned as that of the new value.
class KeptText {
public:
    using Shared = std::shared_ptr<const std::string>;

    /// A text that is being made.
    struct Text {
        std::string text;
        /// How many bytes at the beginning are the same for every value; 0 in a new text.
        std::size_t constantBytes = 0;
    };

    /// Releases the kept text. Called after another value was stored.
    void Outdate() {
        std::shared_ptr<Text> outdated;
        ScopedLock guard(lock);
        ++version;
        isCurrent = false;
        if (kept && kept->text.size() > kShort) {
            outdated.swap(kept);
        }
    }

    /// Returns the text of the current value, which the caller then shares. If no such text is
    /// kept, it calls `make` with no lock held, which gets the text of an earlier value or an empty
    /// one and turns it into that of the current value.
    template <typename Make>
    Shared Get(const Make& make) const {
        std::shared_ptr<Text> made;
        std::uint64_t present = 0;
        {
            ScopedLock guard(lock);
            if (isCurrent) {
                return {kept, &kept->text};
            }
            present = version;
            made.swap(kept);
        }
        MakeExclusive(made);
        make(*made);
        Shared result(made, &made->text);
        ScopedLock guard(lock);
        if (version == present) {
            made.swap(kept);
            isCurrent = true;
        }
        return result;
    }

private:
    /// Records have about 300 bytes.
    static constexpr std::size_t kShort = 1'024;

    /// Makes `text` refer to a text that nobody else reads.
    static void MakeExclusive(std::shared_ptr<Text>& text) {
        if (!text) {
            text = std::make_shared<Text>();
            return;
        }
        // Giving up a second reference makes this thread see that the former readers have finished;
        // use_count alone says only that they have.
        std::shared_ptr<Text> second = text;
        const bool isShared = second.use_count() > 2;
        second.reset();
        if (isShared) {
            text = std::make_shared<Text>(*text);
        }
    }

    Mutex lock;
    std::uint64_t version GUARDED_BY(lock) = 0;
    /// Whether `kept` is that of the current value. Otherwise it is null or outdated.
    mutable bool isCurrent GUARDED_BY(lock) = false;
    mutable std::shared_ptr<Text> kept GUARDED_BY(lock);
};

}  // namespace vantry
