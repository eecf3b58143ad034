#pragma once

#include <cstdint>

namespace vantry {

/// Returns 64 bits that nobody outside the process can predict. If the system has none to give,
/// they are made of the time and an address. Any thread may call it; it doesn't block for longer
/// than a call of the system.
std::uint64_t RandomBits();

}  // namespace vantry
