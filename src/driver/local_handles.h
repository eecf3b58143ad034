#pragma once

#include <cstdint>
#include <memory>

#include "driver/local_session.h"

namespace vantry {

/// Returns the session of a handle that PRN_Open returned, or null if there is none. It is for a
/// program that is linked with the hub and needs more than the entry points offer. While the caller
/// keeps the session, PRN_Deinit can't write its marker. Any thread may call it.
std::shared_ptr<LocalSession> LocalSessionOf(std::uint32_t handle);

}  // namespace vantry
