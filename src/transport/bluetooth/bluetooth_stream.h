#pragma once

#include "transport/device/device_stream.h"

namespace vantry {

/// The connection to one Bluetooth peer. External. The link has no way to end one direction alone,
/// so a read that ends means that the peer has gone: the stream counts as dead then, and gives the
/// device's handle back.
class BluetoothStream final : public DeviceStream {
public:
    using DeviceStream::DeviceStream;

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const std::int32_t count = DeviceStream::Read(buffer, length);
        if (count <= 0) {
            GiveUp();
        }
        return count;
    }
};

}  // namespace vantry
