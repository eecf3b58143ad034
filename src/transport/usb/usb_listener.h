#pragma once

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "runtime/lock.h"
#include "transport/session/listener.h"

namespace vantry {

/// Accepts hosts of the USB function device. The driver signals an attached host by a named event,
/// and Accept returns one stream for each attachment. That a host was detached is noticed by the
/// stream's Read. Without the device or its events Accept returns an empty reference.
class UsbListener final : public Listener {
public:
    static constexpr char16_t kDeviceName[] = u"UMF1:";
    static constexpr char16_t kAttachedName[] = u"Global\\USB_MONITOR_ATTACHED";
    static constexpr char16_t kRemovedName[] = u"Global\\USB_MONITOR_REMOVED";

    /// The time-outs are passed to the driver unchanged; -1 means none. The platform must outlive
    /// the listener and its streams.
    UsbListener(Platform& machine, std::int32_t writeTimeoutOfStreams,
                std::int32_t readTimeoutOfStreams);
    ~UsbListener() override;

    /// If a host is attached already, the first Accept returns its stream.
    void Open() override;
    [[nodiscard]] std::shared_ptr<Stream> Accept() override;
    void Close() override;

private:
    /// Blocks until a host is attached. Returns false if the listener is closed or has no events.
    bool AwaitHost();

    Platform& platform;
    const std::shared_ptr<DeviceHandle> device;
    const std::shared_ptr<SystemEvent> stopEvent;
    const std::shared_ptr<SystemEvent> wakeEvent;
    Mutex eventsLock;
    std::shared_ptr<SystemEvent> attachedEvent GUARDED_BY(eventsLock);
    std::shared_ptr<SystemEvent> removedEvent GUARDED_BY(eventsLock);
    const std::int32_t writeTimeout;
    const std::int32_t readTimeout;
};

}  // namespace vantry
