// Starting and stopping in the right order.
//
// The sockets are made before the hub starts, so clients can connect early and wait. The USB driver
// starts before the hub, because the hub asks it for a host that is attached already; the local
// device is served after it, because its clients need the hub's sessions. At the stop the order is
// reversed, and the flusher is stopped last, so that the last output of the sessions is still sent.

#include "host/hub_host.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "driver/exports.h"
#include "runtime/hub_port.h"
#include "transport/bluetooth/bluetooth_listener.h"
#include "transport/usb/usb_listener.h"

namespace vantry {
namespace {

std::filesystem::path Absolute(const std::filesystem::path& directory) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(directory, error);
    return error ? directory : absolute.lexically_normal();
}

Options WithAbsoluteDirectories(Options options) {
    options.root = Absolute(options.root);
    options.devices = Absolute(options.devices);
    return options;
}

/// How long the start waits for the reader of standard error.
constexpr std::uint32_t kFlushMilliseconds = 1'000;

std::string Refused(const std::filesystem::path& directory, const std::string& why) {
    return directory.string() + ": " + why;
}

}  // namespace

HubHost::HubHost(const Options& wanted)
    : options(WithAbsoluteDirectories(wanted)), platform(options.root) {
    platform.notices.SetPrefix("vantryd: ");
    platform.tcp.Replace(options.address, options.port);
    platform.settings = options.settings;
    platform.SetLimits(options.limits);
}

bool HubHost::Prepare(std::string& error) {
    error = MachineShortage();
    if (!error.empty() || !ClaimDirectories(error) || !MakeSockets(error)) {
        return false;
    }
    RegisterDrivers();
    return true;
}

bool HubHost::ClaimDirectories(std::string& error) {
    std::string why;
    if (!rootClaim.Acquire(options.root, why)) {
        error = Refused(options.root, why);
        return false;
    }
    std::error_code made;
    std::filesystem::create_directories(options.root / "Store", made);
    if (made) {
        error = Refused(options.root / "Store", "can't be made: " + made.message());
        return false;
    }
    if (!rootClaim.Covers(options.devices) && !devicesClaim.Acquire(options.devices, why)) {
        error = Refused(options.devices, why);
        return false;
    }
    return true;
}

bool HubHost::MakeSockets(std::string& error) {
    std::string why;
    localSocket = DeviceSocket::Make(options.devices, "PRN1", why);
    usbSocket = localSocket ? DeviceSocket::Make(options.devices, "UMF1", why) : nullptr;
    bluetoothSocket = usbSocket ? DeviceSocket::Make(options.devices, "BTD0", why) : nullptr;
    if (!bluetoothSocket) {
        error = Refused(options.devices, why);
    }
    return bluetoothSocket != nullptr;
}

void HubHost::RegisterDrivers() {
    flusher = std::make_shared<OutputFlusher>(Descriptors::OfSystem());
    usbDriver = std::make_shared<UsbDriver>(*usbSocket, platform.events, flusher);
    bluetoothDriver = std::make_shared<BluetoothDriver>(*bluetoothSocket, flusher);
    std::string why;
    if (options.bluetooth && !bluetoothDriver->ListenOnHardware(why)) {
        platform.notices.Tell("no Bluetooth hardware to listen on: " + why);
    }
    platform.devices.Register(UsbListener::kDeviceName, usbDriver);
    platform.devices.Register(BluetoothListener::kDeviceName, bluetoothDriver);
}

void HubHost::Start() {
    if (!usbDriver->Start()) {
        platform.notices.Tell("USB hosts can't be served: the system has no thread");
    }
    PRN_Init();
    running = true;
    localServer.emplace(*localSocket, flusher, platform);
    if (!localServer->IsServing()) {
        platform.notices.Tell("the local device can't be served: the system has no thread");
    }
    const std::uint16_t port = platform.tcp.PortInPlaceOf(kHubPort);
    if (platform.tcp.boundPort == 0 && port != TcpListening::kNoPort) {
        in_addr address{htonl(platform.tcp.Address())};
        std::array<char, INET_ADDRSTRLEN> text{};
        inet_ntop(AF_INET, &address, text.data(), text.size());
        platform.notices.Tell("TCP port " + std::to_string(port) + " of " + text.data() +
                              " can't be listened on: " + std::strerror(platform.tcp.bindError));
    }
    platform.notices.Flush(kFlushMilliseconds);
}

void HubHost::Stop() {
    if (!std::exchange(running, false)) {
        return;
    }
    localServer.reset();
    PRN_Deinit(1);
    platform.devices.Unregister(UsbListener::kDeviceName);
    platform.devices.Unregister(BluetoothListener::kDeviceName);
    usbDriver->Stop();
    flusher->Stop();
}

std::string HubHost::ReadyLine() const {
    const std::uint16_t port = platform.tcp.boundPort;
    return "ready port=" + (port == 0 ? "none" : std::to_string(port)) +
           " root=" + options.root.string() + " devices=" + options.devices.string();
}

}  // namespace vantry
