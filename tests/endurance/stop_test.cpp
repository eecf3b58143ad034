// The hub stops with clients connected and blocked on every link, and leaves nothing behind.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>

#include "host/bluetooth_driver.h"
#include "host/device_socket.h"
#include "host/usb_driver.h"
#include "support/eventually.h"
#include "support/frame_client.h"
#include "support/messages.h"
#include "support/rounds.h"
#include "support/test_platform.h"
#include "transport/bluetooth/bluetooth_listener.h"
#include "transport/usb/usb_listener.h"

namespace vantry {
namespace {

using namespace test;

std::size_t CountOf(const char* what) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(std::string("/proc/self/") + what), {}));
}

/// The drivers that stand behind the USB and Bluetooth devices of a platform.
class Drivers {
public:
    explicit Drivers(TestPlatform& platform) : registry(platform.platform.devices) {
        std::string error;
        usbSocket = DeviceSocket::Make(platform.Path(""), "UMF1", error);
        bluetoothSocket = DeviceSocket::Make(platform.Path(""), "BTD0", error);
        usb = std::make_shared<UsbDriver>(*usbSocket, platform.platform.events, flusher);
        registry.Register(UsbListener::kDeviceName, usb);
        registry.Register(BluetoothListener::kDeviceName,
                          std::make_shared<BluetoothDriver>(*bluetoothSocket, flusher));
        EXPECT_TRUE(usb->Start());
    }
    ~Drivers() {
        registry.Unregister(UsbListener::kDeviceName);
        registry.Unregister(BluetoothListener::kDeviceName);
        usb->Stop();
        flusher->Stop();
    }
    Drivers(const Drivers&) = delete;
    Drivers& operator=(const Drivers&) = delete;

private:
    DeviceRegistry& registry;
    std::shared_ptr<OutputFlusher> flusher = std::make_shared<OutputFlusher>();
    std::unique_ptr<DeviceSocket> usbSocket;
    std::unique_ptr<DeviceSocket> bluetoothSocket;
    std::shared_ptr<UsbDriver> usb;
};

/// libprn.so, loaded anew; it runs on the platform of this program.
class Library {
public:
    Library() : handle(dlopen(LIBPRN_PATH, RTLD_NOW | RTLD_LOCAL)) {}
    ~Library() { dlclose(handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <typename... Arguments>
    std::uint32_t Call(const char* name, Arguments... arguments) const {
        return reinterpret_cast<std::uint32_t (*)(Arguments...)>(dlsym(handle, name))(arguments...);
    }

private:
    void* const handle;
};

TEST(Endurance, TheLibraryStopsWithClientsOnAllLinksAndLeavesNothing) {
    TestPlatform platform;
    const std::filesystem::path marker = platform.Path("DriverUnloadSuccessful");
    const int rounds = Rounds(3);
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    for (int round = 0; round < rounds; ++round) {
        {
            const Drivers drivers(platform);
            const Library library;
            std::filesystem::remove(marker);
            platform.platform.tcp.Replace(0x7F000001, 0);
            ASSERT_EQ(library.Call("PRN_Init"), 1U);
            std::vector<FrameClient> clients;
            clients.push_back(FrameClient::ToTcp(platform.platform.tcp.boundPort));
            clients.push_back(FrameClient::ToTcp(platform.platform.tcp.boundPort));
            clients.push_back(FrameClient::ToUnixSocket(platform.Path("UMF1")));
            clients.push_back(FrameClient::ToUnixSocket(platform.Path("BTD0")));
            for (FrameClient& client : clients) {
                EXPECT_TRUE(client.Ask(kSubscribeAll));
            }
            // One of them is stopped in the middle of a frame, and two readers are blocked.
            clients[0].SendBytes(FrameOf(kGetAll).substr(0, 25));
            std::vector<std::thread> readers;
            for (int count = 0; count < 2; ++count) {
                const std::uint32_t session = library.Call("PRN_Open", 0U, 0U, 0U);
                readers.emplace_back([&library, session] {
                    char byte = 0;
                    EXPECT_EQ(library.Call("PRN_Read", session, &byte, 1U), 0xFFFFFFFFU);
                });
            }
            EXPECT_EQ(library.Call("PRN_Deinit", 1U), 1U);
            for (std::thread& reader : readers) {
                reader.join();
            }
            EXPECT_EQ(ReadFile(marker), std::string("\0\1\2\3", 4)) << "round " << round;
            for (FrameClient& client : clients) {
                EXPECT_TRUE(client.SeesEnd());
            }
        }
        if (round == 0) {
            threads = CountOf("task");
            descriptors = CountOf("fd");
        }
        EXPECT_TRUE(Eventually([&] { return CountOf("task") == threads; })) << "round " << round;
        EXPECT_EQ(CountOf("fd"), descriptors) << "round " << round;
    }
}

}  // namespace
}  // namespace vantry
