#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "runtime/lock.h"
#include "transport/session/listener.h"

namespace vantry {

/// Waits for a host on the USB function device. The driver tells of it by a named event; each
/// attachment gives one stream. That a host has gone is noticed by the stream that reads.
class UsbListener final : public Listener {
public:
    static constexpr char16_t kDeviceName[] = u"UMF1:";
    static constexpr char16_t kAttachedName[] = u"Global\\USB_MONITOR_ATTACHED";
    static constexpr char16_t kRemovedName[] = u"Global\\USB_MONITOR_REMOVED";

    /// The time-outs go to the driver as they are; -1 is none.
    UsbListener(Platform& machine, std::int32_t writeTimeoutOfStreams,
                std::int32_t readTimeoutOfStreams);
    ~UsbListener() override;

    /// A host that is there already counts as one that attaches now.
    void Open() override;
    std::shared_ptr<Stream> Accept() override;
    void Close() override;

private:
    /// Waits until a host is attached. False once the listener is closed, or without a driver.
    bool AwaitHost();

    Platform& platform;
    const std::shared_ptr<DeviceHandle> device;
    const std::shared_ptr<SystemEvent> stopEvent = std::make_shared<SystemEvent>();
    const std::shared_ptr<SystemEvent> wakeEvent = std::make_shared<SystemEvent>();
    Lock eventsLock;
    std::shared_ptr<SystemEvent> attachedEvent GUARDED_BY(eventsLock);
    std::shared_ptr<SystemEvent> removedEvent GUARDED_BY(eventsLock);
    const std::int32_t writeTimeout;
    const std::int32_t readTimeout;
};

}  // namespace vantry
