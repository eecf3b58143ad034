#pragma once

#include <functional>

namespace vantry {

/// Runs `body` on a thread that nobody waits for, with all signals blocked. It is for calls of the
/// system that may take minutes and can't be interrupted, such as the look-up of a name. `body`
/// must own what it uses, because the caller may have ended long before; it is destroyed on the new
/// thread. Returns false, with `body` destroyed, if the system can't create a thread. Thread-safe;
/// doesn't block.
[[nodiscard]] bool StartDetached(std::function<void()> body);

}  // namespace vantry
