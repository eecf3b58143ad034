// Accepting USB hosts.
//
// Accept waits for three events at once: the driver's, which is set when a host is attached;
// wakeEvent, which Open sets for a host that was attached before; and stopEvent, which Close sets.
// An empty reference in the list, as without a driver, makes the wait fail, and Accept ends. Close
// releases the driver's events but never the stop event, so it can be called from any thread while
// Accept waits.

#include "transport/usb/usb_listener.h"

#include <array>
#include <optional>

#include "transport/device/device_control_codes.h"
#include "transport/usb/usb_stream.h"

namespace vantry {

UsbListener::UsbListener(Platform& machine, std::int32_t writeTimeoutOfStreams,
                         std::int32_t readTimeoutOfStreams)
    : platform(machine),
      device(machine.devices.Open(kDeviceName)),
      stopEvent(std::make_shared<SystemEvent>(machine.descriptors)),
      wakeEvent(std::make_shared<SystemEvent>(machine.descriptors)),
      writeTimeout(writeTimeoutOfStreams),
      readTimeout(readTimeoutOfStreams) {}

UsbListener::~UsbListener() {
    UsbListener::Close();
    if (device) {
        device->Close();
    }
}

void UsbListener::Open() {
    if (!device) {
        return;
    }
    const std::shared_ptr<SystemEvent> attached = platform.events.Open(kAttachedName);
    const std::shared_ptr<SystemEvent> removed = platform.events.Open(kRemovedName);
    {
        ScopedLock guard(eventsLock);
        attachedEvent = attached;
        removedEvent = removed;
    }
    std::array<std::uint8_t, 4> answer{};
    const bool answered = device->Control(ControlCode::kIsHostAttached, {}, answer);
    if (!attached || !removed || !answered) {
        Close();
        return;
    }
    if (answer == std::array<std::uint8_t, 4>{}) {
        return;
    }
    device->Control(ControlCode::kTakeAttachedHost, {}, {});
    attached->Reset();
    removed->Reset();
    wakeEvent->Set();
}

std::shared_ptr<Stream> UsbListener::Accept() {
    while (AwaitHost()) {
        const std::shared_ptr<ConnectionAccount> account =
            platform.accounting->Admit(Link::Usb, {});
        // Without an account the stream is opened too, and its destructor then detaches the host.
        auto stream = std::make_shared<UsbStream>(platform.devices.Open(kDeviceName), account,
                                                  writeTimeout, readTimeout);
        if (account) {
            Stream::GiveUpWhenCut(stream);
            return stream;
        }
    }
    return nullptr;
}

bool UsbListener::AwaitHost() {
    constexpr std::size_t kStopPlace = 2;
    std::array<std::shared_ptr<SystemEvent>, 3> events{nullptr, wakeEvent, stopEvent};
    {
        ScopedLock guard(eventsLock);
        events[0] = attachedEvent;
    }
    const std::optional<std::size_t> fired = WaitForAny(events);
    return fired && *fired != kStopPlace;
}

void UsbListener::Close() {
    if (device) {
        device->Control(ControlCode::kStopListening, {}, {});
    }
    stopEvent->Set();
    ScopedLock guard(eventsLock);
    attachedEvent.reset();
    removedEvent.reset();
}

}  // namespace vantry
