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

/// Plays the device manager: claims the directories, brings up the platform with its devices, and
/// starts and stops the hub on it. One at a time in a process, which must hand ThePlatform out as
/// VantryPlatform.
class HubHost {
public:
    explicit HubHost(const Options& wanted);
    ~HubHost() { Stop(); }

    /// False, with the reason in `error`, if a directory or a socket can't be had; nothing that
    /// belongs to somebody else is touched then.
    [[nodiscard]] bool Prepare(std::string& error);
    /// Starts the hub and serves its devices.
    void Start();
    /// Ends the sessions, the hub and the devices. Takes 3 seconds, and up to 2 more while clients
    /// of the local device have something left.
    void Stop();

    Platform& ThePlatform() { return platform; }
    /// The line by which the program tells that it is ready.
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
