#pragma once

#include <memory>
#include <string>

#include "host/device_socket.h"
#include "platform/device.h"
#include "platform/wake_up.h"
#include "transport/socket/output_flusher.h"

namespace vantry {

/// The driver behind "BTD0:": a client of its socket is a Bluetooth peer, and so is one that comes
/// over the machine's own hardware, if that is listened on. Each handle serves one peer, any number
/// of them at once.
class BluetoothDriver final : public DeviceDriver {
public:
    /// `listening` must outlive the driver and its handles.
    BluetoothDriver(const DeviceSocket& listening, std::shared_ptr<OutputFlusher> outputFlusher);
    ~BluetoothDriver() override;

    /// Listens on the machine's hardware too. False, with the reason in `error`, if it has none.
    [[nodiscard]] bool ListenOnHardware(std::string& error);

    std::shared_ptr<DeviceHandle> Open() override;

private:
    const DeviceSocket& socket;
    const std::shared_ptr<OutputFlusher> flusher;
    int rfcomm = -1;
};

}  // namespace vantry
