#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "host/device_socket.h"
#include "host/socket_connection.h"
#include "platform/device.h"
#include "platform/system_event.h"
#include "platform/wake_up.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"
#include "transport/socket/output_flusher.h"

namespace vantry {

/// A cable that is plugged in: one client of the socket. It serves one handle, the first that asks.
class UsbCable {
public:
    UsbCable(int descriptor, std::shared_ptr<OutputFlusher> flusher)
        : connection(descriptor, std::move(flusher), {}) {}

    /// Returns whether the caller is the first to ask.
    bool Claim() { return !claimed.exchange(true); }
    bool IsClaimed() const { return claimed; }

    /// Says that whoever claimed the cable has read all that came over it, or reads no more.
    void EndReading() {
        ended = true;
        readingEnded.Ring();
    }
    bool HasEnded() const { return ended; }
    /// Returns a descriptor that is readable from EndReading on.
    int EndNumber() const { return readingEnded.Number(); }

    SocketConnection connection;

private:
    std::atomic<bool> claimed{false};
    std::atomic<bool> ended{false};
    WakeUp readingEnded;
};

/// The driver behind "UMF1:": a client of its socket is a USB host. Connecting attaches it, closing
/// detaches it once what it sent has been read; a second one waits until the first has gone.
class UsbDriver final : public DeviceDriver {
public:
    /// Makes the two named events. `listening` must outlive the driver's Start and Stop.
    UsbDriver(const DeviceSocket& listening, SystemEventRegistry& events,
              std::shared_ptr<OutputFlusher> outputFlusher);
    ~UsbDriver() override { Stop(); }

    /// Begins to serve the socket.
    void Start();
    /// Pulls the cable and ends the thread.
    void Stop();

    std::shared_ptr<DeviceHandle> Open() override;

    /// The cable that is plugged in; empty if there is none.
    std::shared_ptr<UsbCable> Plugged() const;

private:
    void Run();
    /// Waits for the next host; empty when the driver is to stop.
    std::shared_ptr<UsbCable> AwaitHost();
    /// Waits until the host has gone and what it sent has been read.
    void AwaitDetach(UsbCable& cable);
    void AwaitEndOfReading(const UsbCable& cable);
    void SetPlugged(std::shared_ptr<UsbCable> cable);

    const DeviceSocket& socket;
    const std::shared_ptr<OutputFlusher> flusher;
    const std::shared_ptr<SystemEvent> attachedEvent;
    const std::shared_ptr<SystemEvent> removedEvent;
    WakeUp wake;
    std::atomic<bool> stopping{false};
    Lock lock;
    std::shared_ptr<UsbCable> plugged GUARDED_BY(lock);
    NativeThread thread;
};

}  // namespace vantry
