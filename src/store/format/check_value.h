#pragma once

#include <cstdint>
#include <string_view>

namespace vantry {

/// CRC-16/MAXIM-DOW of the bytes: the check value at the end of a property file.
std::uint16_t CheckValue(std::string_view bytes);

}  // namespace vantry
