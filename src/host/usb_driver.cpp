// USB hosts as clients of a socket.
//
// The driver's thread handles one host at a time: it accepts a client, publishes it as the plugged
// cable, sets the attached event, and waits until the client has disconnected. The listener then
// opens a handle, which claims the cable. A host may disconnect behind the last message that it
// sent, so the removed event isn't set before the handle has read the input to its end; if no
// handle has claimed the cable in time, the input is dropped. All waits are polls that include the
// wake-up descriptor, which Stop rings.

#include "host/usb_driver.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "host/accept_client.h"
#include "platform/exhaustion.h"
#include "transport/device/device_control_codes.h"
#include "transport/usb/usb_listener.h"

namespace vantry {
namespace {

/// The unit of this driver's write time-outs.
constexpr std::uint32_t kTimeoutUnitMilliseconds = 100;
/// How long after a host has disconnected the hub may still claim its cable.
constexpr int kUnclaimedMilliseconds = 2000;

std::int32_t SignedValue(std::span<const std::uint8_t> input) {
    std::int32_t value = 0;
    std::memcpy(&value, input.data(), std::min(input.size(), sizeof value));
    return value;
}

/// A handle of "UMF1:". The listener's handle only uses control codes. A stream's handle is
/// recognised by setting time-outs; it then claims the cable that was plugged in when it was
/// opened, and reads and writes it.
class UsbHandle final : public DeviceHandle {
public:
    UsbHandle(const UsbDriver& usbDriver, std::shared_ptr<UsbCable> pluggedCable)
        : driver(usbDriver), cable(std::move(pluggedCable)) {}
    ~UsbHandle() override { UsbHandle::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        if (!claimed) {
            return kFailed;
        }
        const std::int32_t milliseconds = readTimeout;
        const std::int32_t count = cable->connection.Read(buffer, length, milliseconds);
        // With a time-out, 0 may mean that the time has passed.
        if (count < 0 || (count == 0 && milliseconds < 0)) {
            cable->EndReading();
        }
        return count;
    }

    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return claimed ? cable->connection.Write(buffer, length) : kFailed;
    }

    std::int32_t WriteShared(const SharedFrame& frame) override {
        return claimed ? cable->connection.WriteShared(frame) : kFailed;
    }

    void ChargeTo(const std::shared_ptr<ConnectionAccount>& account) override {
        if (Claim()) {
            cable->connection.ChargeTo(account);
        }
    }

    bool Control(std::uint32_t code, std::span<const std::uint8_t> input,
                 std::span<std::uint8_t> output) override {
        switch (code) {
            case ControlCode::kSetReadTimeout:
                readTimeout = SignedValue(input);
                return Claim();
            case ControlCode::kSetWriteTimeout:
                if (!Claim()) {
                    return false;
                }
                cable->connection.SetWriteStall(static_cast<std::uint32_t>(SignedValue(input)) *
                                                kTimeoutUnitMilliseconds);
                return true;
            case ControlCode::kIsHostAttached:
                if (!output.empty()) {
                    const std::shared_ptr<UsbCable> plugged = driver.Plugged();
                    output[0] = plugged && !plugged->HasEnded() ? 1 : 0;
                }
                return true;
            case ControlCode::kTakeAttachedHost:
            case ControlCode::kStopListening:
                return true;
            default:
                return false;
        }
    }

    void Close() override {
        if (claimed) {
            cable->connection.Close();
            cable->EndReading();
        }
    }

private:
    /// Returns whether this handle has claimed the cable, now or before.
    bool Claim() {
        if (!claimed && cable) {
            claimed = cable->Claim();
        }
        return claimed;
    }

    const UsbDriver& driver;
    const std::shared_ptr<UsbCable> cable;
    std::atomic<bool> claimed{false};
    std::atomic<std::int32_t> readTimeout{-1};
};

}  // namespace

UsbDriver::UsbDriver(const DeviceSocket& listening, SystemEventRegistry& events,
                     std::shared_ptr<OutputFlusher> outputFlusher)
    : socket(listening),
      flusher(std::move(outputFlusher)),
      attachedEvent(events.Create(UsbListener::kAttachedName)),
      removedEvent(events.Create(UsbListener::kRemovedName)) {}

bool UsbDriver::Start() {
    return thread.Start([this] { Run(); }, "usb-driver");
}

void UsbDriver::Stop() {
    stopping = true;
    wake.Ring();
    thread.Join();
}

std::shared_ptr<DeviceHandle> UsbDriver::Open() {
    return std::make_shared<UsbHandle>(*this, Plugged());
}

std::shared_ptr<UsbCable> UsbDriver::Plugged() const {
    ScopedLock guard(lock);
    return plugged;
}

void UsbDriver::SetPlugged(std::shared_ptr<UsbCable> cable) {
    ScopedLock guard(lock);
    plugged = std::move(cable);
}

void UsbDriver::Run() {
    while (const std::shared_ptr<UsbCable> cable = AwaitHost()) {
        SetPlugged(cable);
        attachedEvent->Set();
        AwaitDetach(*cable);
        SetPlugged(nullptr);
        removedEvent->Set();
        cable->connection.Close();
    }
}

std::shared_ptr<UsbCable> UsbDriver::AwaitHost() {
    std::array<pollfd, 2> waits{{{wake.Number(), POLLIN, 0}, {socket.Number(), POLLIN, 0}}};
    while (!stopping) {
        poll(waits.data(), waits.size(), -1);
        const Accepted accepted = AcceptClient(socket.Number());
        if (accepted.descriptor >= 0) {
            return std::make_shared<UsbCable>(accepted.descriptor, flusher);
        }
        if (accepted.exhausted) {
            poll(waits.data(), 1, kExhaustedMilliseconds);
        }
    }
    return nullptr;
}

void UsbDriver::AwaitDetach(UsbCable& cable) {
    const SocketDescriptor::Use use(cable.connection.Socket());
    if (!use) {
        return;
    }
    std::array<pollfd, 2> waits{{{wake.Number(), POLLIN, 0}, {use.Number(), 0, 0}}};
    while (!stopping && waits[1].revents == 0) {
        poll(waits.data(), waits.size(), -1);
    }
    AwaitEndOfReading(cable);
}

void UsbDriver::AwaitEndOfReading(const UsbCable& cable) {
    std::array<pollfd, 2> waits{{{wake.Number(), POLLIN, 0}, {cable.EndNumber(), POLLIN, 0}}};
    while (!stopping && !cable.HasEnded()) {
        const int count = poll(waits.data(), waits.size(), kUnclaimedMilliseconds);
        if (count == 0 && !cable.IsClaimed()) {
            return;
        }
    }
}

}  // namespace vantry
