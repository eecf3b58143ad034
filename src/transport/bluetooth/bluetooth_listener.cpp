#include "transport/bluetooth/bluetooth_listener.h"

#include <array>
#include <bit>

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
    auto stream = std::make_shared<BluetoothStream>(platform.devices, kDeviceName);
    if (!Await(stream)) {
        return nullptr;
    }
    const auto number =
        std::bit_cast<std::array<std::uint8_t, 2>>(static_cast<std::uint16_t>(channel));
    // What it returns says nothing: a stream without a peer ends at its first read.
    stream->Control(ControlCode::kAwaitPeer, number, {});
    return Await(nullptr) ? stream : nullptr;
}

bool BluetoothListener::Await(const std::shared_ptr<BluetoothStream>& stream) {
    ScopedLock guard(waitingLock);
    waiting = stream;
    return !closed;
}

void BluetoothListener::Close() {
    ScopedLock guard(waitingLock);
    closed = true;
    if (waiting) {
        waiting->Close();
    }
}

}  // namespace vantry
