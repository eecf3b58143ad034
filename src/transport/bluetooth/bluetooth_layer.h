#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "transport/session/listener.h"

namespace vantry {

/// Makes the listener of the Bluetooth link.
class BluetoothLayer {
public:
    /// The platform must outlive the layer and all that it makes.
    explicit BluetoothLayer(Platform& machine) : platform(machine) {}

    std::shared_ptr<Listener> MakeListener(std::uint32_t channel);

private:
    Platform& platform;
};

}  // namespace vantry
