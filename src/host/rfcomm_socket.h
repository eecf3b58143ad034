#pragma once

#include <cstdint>
#include <string>

namespace vantry {

/// Returns a non-blocking socket that listens on an RFCOMM channel of the machine's Bluetooth
/// hardware; the caller owns it. Returns -1, with the reason in `error`, if there is no such
/// hardware.
[[nodiscard]] int ListenOnRfcomm(std::uint8_t channel, std::string& error);

}  // namespace vantry
