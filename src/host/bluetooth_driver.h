#pragma once

#include <memory>
#include <string>

#include "host/device_socket.h"
#include "platform/device.h"
#include "platform/wake_up.h"
#include "transport/socket/output_flusher.h"

namespace vantry {

/// The driver of "BTD0:". Each client of its socket is a Bluetooth peer, and so is each peer of the
/// machine's Bluetooth hardware after ListenOnHardware. A handle serves one peer; any number of
/// handles may be open. It has no thread: the thread that calls kAwaitPeer of a handle accepts the
/// peer.
class BluetoothDriver final : public DeviceDriver {
public:
    /// `listening` must outlive the driver and its handles.
    BluetoothDriver(const DeviceSocket& listening, std::shared_ptr<OutputFlusher> outputFlusher);
    ~BluetoothDriver() override;

    /// Listens on the machine's Bluetooth hardware too. Returns false, with the reason in `error`,
    /// if there is none. Called before the first Open. Doesn't block.
    [[nodiscard]] bool ListenOnHardware(std::string& error);

    std::shared_ptr<DeviceHandle> Open() override;

private:
    const DeviceSocket& socket;
    const std::shared_ptr<OutputFlusher> flusher;
    int rfcomm = -1;
};

}  // namespace vantry
