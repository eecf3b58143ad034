// Drivers whose handles carry simulated connections.
//
// A USB handle claims the cable that was plugged in when it was opened as soon as a stream sets its
// time-outs, so the listener's own handle never does. A Bluetooth handle gets a peer when it waits
// for one. Only the simulation's own scheduling points interrupt these functions, so they have no
// locks.

#include "simulation/simulated_devices.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "simulation/races.h"
#include "simulation/scheduler.h"
#include "transport/bluetooth/bluetooth_listener.h"
#include "transport/device/device_control_codes.h"
#include "transport/usb/usb_listener.h"

namespace vantry::simulation {

/// The hub's end of a link.
class SimulatedDevices::Cable {
public:
    Cable(SimulatedDescriptors& calls, int hubsEnd) : descriptors(calls), number(hubsEnd) {}
    ~Cable() { descriptors.Close(number); }
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;

    /// Makes the caller the one that uses it. Returns false if another one does.
    bool Claim() {
        descriptors.SetServed(number);
        return !std::exchange(claimed, true);
    }
    bool HasEnded() const { return ended; }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) {
        iovec part{buffer, static_cast<std::size_t>(length)};
        ssize_t count = -EINTR;
        while (count == -EINTR) {
            count = descriptors.Receive(number, {&part, 1}, true);
        }
        ended = ended || count <= 0;
        return count < 0 ? DeviceHandle::kFailed : static_cast<std::int32_t>(count);
    }

    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) {
        const std::string_view text(reinterpret_cast<const char*>(buffer),
                                    static_cast<std::size_t>(length));
        return descriptors.SendAll(number, text) < 0 ? DeviceHandle::kFailed : length;
    }

    void Close() {
        if (!std::exchange(closed, true)) {
            descriptors.ShutDown(number, SHUT_RDWR);
        }
        ended = true;
    }

private:
    SimulatedDescriptors& descriptors;
    const int number;
    bool claimed = false;
    bool closed = false;
    bool ended = false;
};

/// A handle whose bytes go over a cable as soon as it has claimed one.
class SimulatedDevices::CableHandle : public DeviceHandle {
public:
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const OutsideHub here;
        return mine ? mine->Read(buffer, length) : kFailed;
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        const OutsideHub here;
        return mine ? mine->Write(buffer, length) : kFailed;
    }
    void Close() override {
        const OutsideHub here;
        if (mine) {
            mine->Close();
        }
    }

protected:
    /// Claims the cable unless the handle has one. Returns whether it has one then.
    bool Claim(const std::shared_ptr<Cable>& cable) {
        if (!mine && cable && cable->Claim()) {
            mine = cable;
        }
        return mine != nullptr;
    }

private:
    std::shared_ptr<Cable> mine;
};

class SimulatedDevices::UsbHandle final : public CableHandle {
public:
    explicit UsbHandle(const SimulatedDevices& allDevices)
        : devices(allDevices), cable(allDevices.plugged) {}
    ~UsbHandle() override { UsbHandle::Close(); }

    bool Control(std::uint32_t code, std::span<const std::uint8_t>,
                 std::span<std::uint8_t> output) override {
        const OutsideHub here;
        switch (code) {
            case ControlCode::kSetReadTimeout:
            case ControlCode::kSetWriteTimeout:
                return Claim(cable);
            case ControlCode::kIsHostAttached:
                if (!output.empty()) {
                    output[0] = devices.plugged && !devices.plugged->HasEnded() ? 1 : 0;
                }
                return true;
            default:
                return code == ControlCode::kTakeAttachedHost ||
                       code == ControlCode::kStopListening;
        }
    }

private:
    const SimulatedDevices& devices;
    const std::shared_ptr<Cable> cable;
};

class SimulatedDevices::UsbDriver final : public DeviceDriver {
public:
    explicit UsbDriver(const SimulatedDevices& allDevices) : devices(allDevices) {}

    std::shared_ptr<DeviceHandle> Open() override {
        const OutsideHub here;
        return std::make_shared<UsbHandle>(devices);
    }

private:
    const SimulatedDevices& devices;
};

class SimulatedDevices::BluetoothHandle final : public CableHandle {
public:
    explicit BluetoothHandle(SimulatedDevices& allDevices) : devices(allDevices) {}
    ~BluetoothHandle() override { BluetoothHandle::Close(); }

    bool Control(std::uint32_t code, std::span<const std::uint8_t>,
                 std::span<std::uint8_t>) override {
        const OutsideHub here;
        if (code != ControlCode::kAwaitPeer) {
            return false;
        }
        while (!closed && devices.callers.empty()) {
            Scheduler::Current().Wait("a Bluetooth peer", &devices.callers);
        }
        if (closed) {
            return false;
        }
        const std::shared_ptr<Cable> cable = std::move(devices.callers.front());
        devices.callers.pop_front();
        return Claim(cable);
    }

    void Close() override {
        const OutsideHub here;
        closed = true;
        Scheduler::Current().Wake(&devices.callers);
        CableHandle::Close();
    }

private:
    SimulatedDevices& devices;
    bool closed = false;
};

class SimulatedDevices::BluetoothDriver final : public DeviceDriver {
public:
    explicit BluetoothDriver(SimulatedDevices& allDevices) : devices(allDevices) {}

    std::shared_ptr<DeviceHandle> Open() override {
        const OutsideHub here;
        return std::make_shared<BluetoothHandle>(devices);
    }

private:
    SimulatedDevices& devices;
};

SimulatedDevices::SimulatedDevices(SimulatedDescriptors& calls, Platform& platform)
    : descriptors(calls),
      attached(platform.events.Create(UsbListener::kAttachedName)),
      removed(platform.events.Create(UsbListener::kRemovedName)) {
    platform.devices.Register(UsbListener::kDeviceName, std::make_shared<UsbDriver>(*this));
    platform.devices.Register(BluetoothListener::kDeviceName,
                              std::make_shared<BluetoothDriver>(*this));
}

std::shared_ptr<SimulatedDevices::Cable> SimulatedDevices::NewCable(int& peer) {
    const auto [hubsEnd, peersEnd] = descriptors.Pair();
    if (hubsEnd < 0) {
        descriptors.Close(peersEnd);
        peer = hubsEnd;
        return nullptr;
    }
    peer = peersEnd;
    return cables[peer] = std::make_shared<Cable>(descriptors, hubsEnd);
}

int SimulatedDevices::PlugUsb() {
    Scheduler::Current().Point("plugs a USB cable in");
    if (plugged) {
        return -EBUSY;
    }
    int peer = -1;
    plugged = NewCable(peer);
    if (plugged) {
        attached->Set();
    }
    return peer;
}

int SimulatedDevices::CallBluetooth() {
    Scheduler::Current().Point("connects by Bluetooth");
    int peer = -1;
    if (const std::shared_ptr<Cable> cable = NewCable(peer)) {
        callers.push_back(cable);
        Scheduler::Current().Wake(&callers);
    }
    return peer;
}

void SimulatedDevices::Forget(int peer) {
    const auto found = cables.find(peer);
    if (found == cables.end()) {
        return;
    }
    const std::shared_ptr<Cable> cable = std::move(found->second);
    cables.erase(found);
    if (plugged == cable) {
        plugged.reset();
        removed->Set();
    }
    std::erase(callers, cable);
}

}  // namespace vantry::simulation
