#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "runtime/lock.h"
#include "transport/bluetooth/bluetooth_stream.h"
#include "transport/session/listener.h"

namespace vantry {

/// Waits for Bluetooth peers: each Accept opens a stream and has the driver hold it until a peer is
/// there. Without the driver Accept gives nothing.
class BluetoothListener final : public Listener {
public:
    static constexpr char16_t kDeviceName[] = u"BTD0:";

    /// The low 16 bits of `peerChannel` go to the driver.
    BluetoothListener(Platform& machine, std::uint32_t peerChannel);
    ~BluetoothListener() override;

    std::shared_ptr<Stream> Accept() override;
    void Open() override {}
    /// Ends the stream that waits for a peer, which releases Accept.
    void Close() override;

private:
    /// False after Close.
    bool Await(const std::shared_ptr<BluetoothStream>& stream);

    Platform& platform;
    const std::uint32_t channel;
    /// Tells that the driver is present.
    const std::shared_ptr<DeviceHandle> device;
    Lock waitingLock;
    std::shared_ptr<BluetoothStream> waiting GUARDED_BY(waitingLock);
    bool closed GUARDED_BY(waitingLock) = false;
};

}  // namespace vantry
