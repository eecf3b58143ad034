#pragma once

#include <cstdint>
#include <memory>

#include "driver/local_session.h"

namespace vantry {

/// Returns the session behind a handle that PRN_Open gave, for a program that is linked with the
/// hub and has to know more of it than the entry points tell. Empty if there is none. Whoever keeps
/// the session keeps PRN_Deinit from writing its marker.
std::shared_ptr<LocalSession> LocalSessionOf(std::uint32_t handle);

}  // namespace vantry
