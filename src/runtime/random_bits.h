#pragma once

#include <cstdint>

namespace vantry {

/// Returns 64 bits that nobody outside the process can predict, or 0 if the system has none to
/// give. Any thread may call it; it doesn't block for longer than a call of the system.
std::uint64_t RandomBits();

}  // namespace vantry
