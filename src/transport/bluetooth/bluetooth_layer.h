#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "transport/session/listener.h"

namespace vantry {

/// Makes the listener of the Bluetooth link.
class BluetoothLayer {
public:
    /// The platform must outlive the layer and all objects that it makes.
    explicit BluetoothLayer(Platform& machine) : platform(machine) {}

    /// Returns a listener for an RFCOMM channel, not yet opened. Doesn't block.
    std::shared_ptr<Listener> MakeListener(std::uint32_t channel);

private:
    Platform& platform;
};

}  // namespace vantry
