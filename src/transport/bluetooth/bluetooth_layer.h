#pragma once

#include <cstdint>
#include <memory>

#include "platform/device.h"
#include "transport/session/listener.h"

namespace vantry {

/// Makes the listener of the Bluetooth link.
class BluetoothLayer {
public:
    explicit BluetoothLayer(DeviceRegistry& machineDevices) : devices(machineDevices) {}

    std::shared_ptr<Listener> MakeListener(std::uint32_t channel);

private:
    DeviceRegistry& devices;
};

}  // namespace vantry
