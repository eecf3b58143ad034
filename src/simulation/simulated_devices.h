#pragma once

#include <deque>
#include <map>
#include <memory>

#include "platform/platform.h"
#include "simulation/simulated_descriptors.h"

namespace vantry::simulation {

/// The drivers of the machine's USB and Bluetooth links. A cable or a radio link is a simulated
/// connection that the driver reads and writes for the hub. The drivers have no time-outs and room
/// for everything that the hub writes.
class SimulatedDevices {
public:
    /// Registers the drivers with the platform. Both references must outlive the object.
    SimulatedDevices(SimulatedDescriptors& calls, Platform& platform);
    SimulatedDevices(const SimulatedDevices&) = delete;
    SimulatedDevices& operator=(const SimulatedDevices&) = delete;

    /// Plugs a USB host in. Returns its end of the cable, or a negative error number if another one
    /// is plugged in or there is no descriptor.
    int PlugUsb();
    /// Connects a Bluetooth peer. Returns its end, or a negative error number.
    int CallBluetooth();
    /// Notes that the peer of this end closes it, and drops the link if the hub hasn't taken it.
    void Forget(int peer);

private:
    class Cable;
    class CableHandle;
    class UsbHandle;
    class UsbDriver;
    class BluetoothHandle;
    class BluetoothDriver;

    std::shared_ptr<Cable> NewCable(int& peer);

    SimulatedDescriptors& descriptors;
    /// Of each peer that hasn't closed its end.
    std::map<int, std::shared_ptr<Cable>> cables;
    std::shared_ptr<Cable> plugged;
    std::shared_ptr<SystemEvent> attached;
    std::shared_ptr<SystemEvent> removed;
    std::deque<std::shared_ptr<Cable>> callers;
};

}  // namespace vantry::simulation
