#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "transport/bluetooth/bluetooth_stream.h"
#include "transport/session/listener.h"

namespace vantry {

/// Waits for Bluetooth peers: each Accept opens a handle and has the driver hold it until a peer is
/// there. Without the driver Accept gives nothing. While the device can't be opened for lack of
/// descriptors, Accept waits; a peer for which there is no place is closed.
class BluetoothListener final : public Listener {
public:
    static constexpr char16_t kDeviceName[] = u"BTD0:";

    /// The low 16 bits of `peerChannel` go to the driver.
    BluetoothListener(Platform& machine, std::uint32_t peerChannel);
    ~BluetoothListener() override;

    std::shared_ptr<Stream> Accept() override;
    void Open() override {}
    /// Ends the handle that waits for a peer, which releases Accept.
    void Close() override;

private:
    /// Waits until `handle` has a peer. False after Close.
    bool AwaitPeer(const std::shared_ptr<DeviceHandle>& handle);
    /// Notes on which handle a peer is waited for. False after Close.
    bool NoteWaiting(const std::shared_ptr<DeviceHandle>& handle);

    Platform& platform;
    const std::uint32_t channel;
    /// Tells that the driver is present.
    const std::shared_ptr<DeviceHandle> device;
    Lock waitingLock;
    std::shared_ptr<DeviceHandle> waiting GUARDED_BY(waitingLock);
    bool closed GUARDED_BY(waitingLock) = false;
    Event closing{false};
};

}  // namespace vantry
