// Accepting Bluetooth peers.
//
// Each Accept opens a new handle, because a handle serves one peer. Between the opening and the
// peer the handle is stored in `waiting`, so that Close can end the driver's wait from another
// thread; whether the listener was closed meanwhile is checked under the same lock at both ends of
// the wait, so no Close is missed.

#include "transport/bluetooth/bluetooth_listener.h"

#include <array>
#include <bit>

#include "platform/exhaustion.h"
#include "transport/device/device_control_codes.h"

namespace vantry {

BluetoothListener::BluetoothListener(Platform& machine, std::uint32_t peerChannel)
    : platform(machine), channel(peerChannel), device(machine.devices.Open(kDeviceName)) {}

BluetoothListener::~BluetoothListener() {
    BluetoothListener::Close();
    if (device) {
        device->Close();
    }
}

std::shared_ptr<Stream> BluetoothListener::Accept() {
    if (!device) {
        return nullptr;
    }
    while (NoteWaiting(nullptr)) {
        const std::shared_ptr<DeviceHandle> handle = platform.devices.Open(kDeviceName);
        if (!handle) {
            static_cast<void>(closing.Wait(kExhaustedMilliseconds));
            continue;
        }
        if (!AwaitPeer(handle)) {
            return nullptr;
        }
        if (const std::shared_ptr<ConnectionAccount> account =
                platform.accounting->Admit(Link::Bluetooth, {})) {
            auto stream = std::make_shared<BluetoothStream>(handle, account);
            Stream::GiveUpWhenCut(stream);
            return stream;
        }
        handle->Close();
    }
    return nullptr;
}

bool BluetoothListener::AwaitPeer(const std::shared_ptr<DeviceHandle>& handle) {
    if (!NoteWaiting(handle)) {
        handle->Close();
        return false;
    }
    const auto number =
        std::bit_cast<std::array<std::uint8_t, 2>>(static_cast<std::uint16_t>(channel));
    // The result isn't needed: the first Read of a stream without a peer fails.
    handle->Control(ControlCode::kAwaitPeer, number, {});
    return NoteWaiting(nullptr);
}

bool BluetoothListener::NoteWaiting(const std::shared_ptr<DeviceHandle>& handle) {
    ScopedLock guard(waitingLock);
    waiting = handle;
    return !closed;
}

void BluetoothListener::Close() {
    closing.Set();
    ScopedLock guard(waitingLock);
    closed = true;
    if (waiting) {
        waiting->Close();
    }
}

}  // namespace vantry
