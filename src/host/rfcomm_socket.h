#pragma once

#include <cstdint>
#include <string>

namespace vantry {

/// A non-blocking socket that listens on a channel of the machine's Bluetooth hardware; -1, with
/// the reason in `error`, if the machine has none.
int ListenOnRfcomm(std::uint8_t channel, std::string& error);

}  // namespace vantry
