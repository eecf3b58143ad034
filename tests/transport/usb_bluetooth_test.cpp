#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "support/test_platform.h"
#include "transport/bluetooth/bluetooth_layer.h"
#include "transport/bluetooth/bluetooth_stream.h"
#include "transport/device/device_control_codes.h"
#include "transport/usb/usb_layer.h"
#include "transport/usb/usb_listener.h"
#include "transport/usb/usb_stream.h"

namespace vantry {
namespace {

/// The answers of the test's driver, and a record of its calls.
struct DriverScript {
    std::atomic<bool> hostAttached{false};
    std::atomic<bool> answersQueries{true};
    std::atomic<std::int32_t> readResult{DeviceHandle::kFailed};
    std::atomic<std::int32_t> writeResult{1};
    std::atomic<int> handles{0};

    void Note(std::uint32_t code, std::span<const std::uint8_t> input) {
        const std::lock_guard guard(mutex);
        codes.push_back(code);
        inputs.emplace_back(input.begin(), input.end());
    }
    std::vector<std::uint32_t> Codes() {
        const std::lock_guard guard(mutex);
        return codes;
    }
    std::vector<std::uint8_t> InputOf(std::uint32_t code) {
        const std::lock_guard guard(mutex);
        const auto found = std::find(codes.begin(), codes.end(), code);
        return found == codes.end() ? std::vector<std::uint8_t>{}
                                    : inputs[std::size_t(found - codes.begin())];
    }

private:
    std::mutex mutex;
    std::vector<std::uint32_t> codes;
    std::vector<std::vector<std::uint8_t>> inputs;
};

class ScriptedHandle final : public DeviceHandle {
public:
    explicit ScriptedHandle(std::shared_ptr<DriverScript> given) : script(std::move(given)) {
        ++script->handles;
    }
    ~ScriptedHandle() override { --script->handles; }
    std::int32_t Read(std::uint8_t*, std::int32_t) override { return script->readResult; }
    std::int32_t Write(const std::uint8_t*, std::int32_t) override { return script->writeResult; }
    bool Control(std::uint32_t code, std::span<const std::uint8_t> input,
                 std::span<std::uint8_t> output) override {
        script->Note(code, input);
        if (code == ControlCode::kIsHostAttached) {
            output[0] = script->hostAttached ? 1 : 0;
            return script->answersQueries;
        }
        return true;
    }
    void Close() override {}

private:
    const std::shared_ptr<DriverScript> script;
};

class ScriptedDriver final : public DeviceDriver {
public:
    explicit ScriptedDriver(std::shared_ptr<DriverScript> given) : script(std::move(given)) {}
    std::shared_ptr<DeviceHandle> Open() override {
        return std::make_shared<ScriptedHandle>(script);
    }

private:
    const std::shared_ptr<DriverScript> script;
};

class DeviceLinks : public testing::Test {
protected:
    void AddUsbDriver() {
        attached = platform.platform.events.Create(UsbListener::kAttachedName);
        removed = platform.platform.events.Create(UsbListener::kRemovedName);
        platform.platform.devices.Register(u"UMF1:", std::make_shared<ScriptedDriver>(script));
    }
    std::shared_ptr<Listener> UsbListenerOpened() {
        UsbLayer layer(platform.platform, nullptr);
        std::shared_ptr<Listener> listener = layer.MakeListener();
        listener->Open();
        return listener;
    }

    test::TestPlatform platform;
    std::shared_ptr<DriverScript> script = std::make_shared<DriverScript>();
    std::shared_ptr<SystemEvent> attached;
    std::shared_ptr<SystemEvent> removed;
};

TEST_F(DeviceLinks, EachAttachmentGivesOneStreamAlsoOneBeforeTheStart) {
    AddUsbDriver();
    for (const bool before : {false, true}) {
        script->hostAttached = before;
        if (before) {
            attached->Set();
        }
        const std::shared_ptr<Listener> listener = UsbListenerOpened();
        if (!before) {
            attached->Set();
        }
        const std::shared_ptr<Stream> stream = listener->Accept();
        ASSERT_TRUE(stream);
        EXPECT_EQ(stream->IsExternal(), 1U);
        std::thread blocked([&] { EXPECT_FALSE(listener->Accept()); });
        listener->Close();
        blocked.join();
        EXPECT_FALSE(listener->Accept());
    }
    EXPECT_EQ(script->InputOf(ControlCode::kSetWriteTimeout),
              (std::vector<std::uint8_t>{100, 0, 0, 0}));
    EXPECT_EQ(script->InputOf(ControlCode::kSetReadTimeout),
              (std::vector<std::uint8_t>{255, 255, 255, 255}));
    const std::vector<std::uint32_t> codes = script->Codes();
    EXPECT_EQ(std::count(codes.begin(), codes.end(), ControlCode::kTakeAttachedHost), 1);
}

TEST_F(DeviceLinks, ABluetoothListenerNamesItsChannel) {
    platform.platform.devices.Register(u"BTD0:", std::make_shared<ScriptedDriver>(script));
    const auto listener = BluetoothLayer(platform.platform).MakeListener(0x10002);
    EXPECT_EQ(listener->Accept()->IsExternal(), 1U);
    EXPECT_EQ(script->InputOf(ControlCode::kAwaitPeer), (std::vector<std::uint8_t>{2, 0}));
}

TEST_F(DeviceLinks, WithoutDriversNoListenerGivesAnything) {
    EXPECT_FALSE(UsbListenerOpened()->Accept());
    BluetoothLayer layer(platform.platform);
    EXPECT_FALSE(layer.MakeListener(2)->Accept());
    // A driver without its events gives the same result.
    platform.platform.devices.Register(u"UMF1:", std::make_shared<ScriptedDriver>(script));
    EXPECT_FALSE(UsbListenerOpened()->Accept());
    AddUsbDriver();
    script->answersQueries = false;
    EXPECT_FALSE(UsbListenerOpened()->Accept());
}

TEST_F(DeviceLinks, AUsbStreamTellsADeadLinkFromASilentOne) {
    AddUsbDriver();
    const struct {
        std::int32_t moved;
        bool host;
        std::int32_t result;
        std::uint32_t alive;
    } cases[] = {{5, true, 5, 1},
                 {0, true, StreamCode::kLinkLost, 0},
                 {0, false, StreamCode::kError, 0},
                 {-1, true, StreamCode::kError, 0},
                 {-1, false, StreamCode::kError, 0}};
    for (const auto& [moved, host, result, alive] : cases) {
        UsbStream stream(platform.platform.devices.Open(u"UMF1:"), nullptr, 100, -1);
        script->readResult = moved;
        script->hostAttached = host;
        std::uint8_t buffer[8] = {};
        EXPECT_EQ(stream.Read(buffer, 8), result) << moved << host;
        EXPECT_EQ(stream.IsAlive(), alive) << moved << host;
    }
    UsbStream stream(platform.platform.devices.Open(u"UMF1:"), nullptr, 100, -1);
    script->writeResult = 0;
    const std::uint8_t byte = 0;
    EXPECT_EQ(stream.Write(&byte, 1), StreamCode::kLinkLost);
    EXPECT_EQ(stream.IsAlive(), 0U);
}

TEST_F(DeviceLinks, AReadThatEndsGivesTheHandleBackAlthoughTheStreamIsHeld) {
    AddUsbDriver();
    for (const std::int32_t result : {0, -1}) {
        UsbStream usb(platform.platform.devices.Open(u"UMF1:"), nullptr, 100, -1);
        BluetoothStream bluetooth(platform.platform.devices.Open(u"UMF1:"), nullptr);
        script->readResult = result;
        std::uint8_t byte = 0;
        EXPECT_LT(usb.Read(&byte, 1), 1);
        EXPECT_LT(bluetooth.Read(&byte, 1), 1);
        EXPECT_EQ(script->handles, 0) << result;
        EXPECT_EQ(bluetooth.IsAlive(), 0U);
    }
}

}  // namespace
}  // namespace vantry
