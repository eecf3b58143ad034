#pragma once

#include <functional>
#include <optional>

namespace vantry::mqtt {

/// Calls `work`, which calls libmosquitto, and returns what it returns. Returns nothing if an
/// assertion of the library has failed meanwhile: the handle can only be destroyed then, and what
/// the library had allocated for the present packet is lost. Thread-safe.
std::optional<int> Guarded(const std::function<int()>& work);

}  // namespace vantry::mqtt
