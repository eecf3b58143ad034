#pragma once

#include "transport/device/device_stream.h"

namespace vantry {

/// The connection to one Bluetooth peer. External.
class BluetoothStream final : public DeviceStream {
public:
    BluetoothStream(DeviceRegistry& devices, std::u16string_view name)
        : DeviceStream(devices, name, 1) {}
};

}  // namespace vantry
