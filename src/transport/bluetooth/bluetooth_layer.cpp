#include "transport/bluetooth/bluetooth_layer.h"

#include "transport/bluetooth/bluetooth_listener.h"

namespace vantry {

std::shared_ptr<Listener> BluetoothLayer::MakeListener(std::uint32_t channel) {
    return std::make_shared<BluetoothListener>(platform, channel);
}

}  // namespace vantry
