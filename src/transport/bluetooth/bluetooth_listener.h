#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "transport/bluetooth/bluetooth_stream.h"
#include "transport/session/listener.h"

namespace vantry {

/// Accepts Bluetooth peers: Accept opens a handle of the device, and the driver's kAwaitPeer blocks
/// until a peer has connected. Without the driver Accept returns an empty reference. If the device
/// can't be opened because descriptors are exhausted, Accept pauses and tries again. A peer beyond
/// the bound on connections is closed.
class BluetoothListener final : public Listener {
public:
    static constexpr char16_t kDeviceName[] = u"BTD0:";
    /// The RFCOMM channel that the hub's peers connect to.
    static constexpr std::uint8_t kHubChannel = 2;

    /// The low 16 bits of `peerChannel` are passed to the driver. The platform must outlive the
    /// listener and its streams.
    BluetoothListener(Platform& machine, std::uint32_t peerChannel);
    ~BluetoothListener() override;

    [[nodiscard]] std::shared_ptr<Stream> Accept() override;
    void Open() override {}
    /// Closes the handle that waits for a peer, which ends Accept.
    void Close() override;

private:
    /// Blocks until `handle` has a peer. Returns false after Close.
    bool AwaitPeer(const std::shared_ptr<DeviceHandle>& handle);
    /// Stores the handle that waits for a peer, for Close. Returns false after Close.
    bool NoteWaiting(const std::shared_ptr<DeviceHandle>& handle);

    Platform& platform;
    const std::uint32_t channel;
    /// A handle that is only opened to find out whether there is a driver.
    const std::shared_ptr<DeviceHandle> device;
    Mutex waitingLock;
    std::shared_ptr<DeviceHandle> waiting GUARDED_BY(waitingLock);
    bool closed GUARDED_BY(waitingLock) = false;
    Event closing{false};
};

}  // namespace vantry
