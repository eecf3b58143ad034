#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/bluetooth_driver.h"
#include "host/device_socket.h"
#include "host/directory_claim.h"
#include "host/local_device_server.h"
#include "host/options.h"
#include "host/usb_driver.h"
#include "platform/platform.h"

namespace vantry {

/// Hosts the hub as the printer's device manager does: locks the directories, prepares the platform
/// with its devices, and starts and stops the hub. A process has one at a time, and must return
/// ThePlatform from VantryPlatform. For one thread.
class HubHost {
public:
    explicit HubHost(const Options& wanted);
    ~HubHost() { Stop(); }

    /// Locks the directories, makes the device sockets and registers the drivers. Returns false,
    /// with the reason in `error`, if that isn't possible or the machine gives the process too
    /// little; files of other processes are unchanged
    /// then.
    [[nodiscard]] bool Prepare(std::string& error);
    /// Starts the hub and serves its devices. The hub starts even if a port or a device can't be
    /// served; each of these is reported as a notice, for whose reader this waits up to 1 s.
    void Start();
    /// Ends the sessions, the hub and the devices. Blocks for 3 seconds, and for up to 2 more while
    /// input or output of local clients is left. Does nothing if the hub isn't running.
    void Stop();

    Platform& ThePlatform() { return platform; }
    /// Returns the line that the program prints when it is ready.
    std::string ReadyLine() const;

private:
    bool ClaimDirectories(std::string& error);
    bool MakeSockets(std::string& error);
    void RegisterDrivers();

    const Options options;
    DirectoryClaim rootClaim;
    DirectoryClaim devicesClaim;
    Platform platform;
    std::shared_ptr<OutputFlusher> flusher;
    std::unique_ptr<DeviceSocket> localSocket;
    std::unique_ptr<DeviceSocket> usbSocket;
    std::unique_ptr<DeviceSocket> bluetoothSocket;
    std::shared_ptr<UsbDriver> usbDriver;
    std::shared_ptr<BluetoothDriver> bluetoothDriver;
    std::optional<LocalDeviceServer> localServer;
    bool running = false;
};

}  // namespace vantry
