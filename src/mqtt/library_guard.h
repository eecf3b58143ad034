#pragma once

#include <functional>

namespace vantry::mqtt {

/// Calls `work`, which calls libmosquitto, and returns what it returns. Returns MOSQ_ERR_PROTOCOL
/// if an assertion of the library has failed meanwhile; the handle can only be destroyed then.
/// Thread-safe.
int Guarded(const std::function<int()>& work);

}  // namespace vantry::mqtt
