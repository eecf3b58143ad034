#pragma once

#include <cstdint>
#include <string_view>

namespace vantry {

/// Returns the CRC-16/MAXIM-DOW of the bytes, which is the check value at the end of a property
/// file.
std::uint16_t CheckValue(std::string_view bytes);

}  // namespace vantry
