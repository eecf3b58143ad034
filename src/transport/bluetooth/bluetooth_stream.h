#pragma once

#include "transport/device/device_stream.h"

namespace vantry {

/// An external stream to a Bluetooth peer. The link can't end one direction alone, so the end of
/// reading means that the peer has disconnected: the stream closes its handle then, and IsAlive
/// returns 0.
class BluetoothStream final : public DeviceStream {
public:
    using DeviceStream::DeviceStream;

    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const std::int32_t count = DeviceStream::Read(buffer, length);
        if (count <= 0) {
            GiveUp();
        }
        return count;
    }
};

}  // namespace vantry
