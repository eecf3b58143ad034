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

/// An attached host: one client of the socket. It serves the first handle that claims it. All
/// operations are thread-safe, and those of this class don't block.
class UsbCable {
public:
    UsbCable(int descriptor, std::shared_ptr<OutputFlusher> flusher)
        : connection(descriptor, std::move(flusher), {}) {}

    /// Claims the cable. Returns whether no handle had claimed it before.
    bool Claim() { return !claimed.exchange(true); }
    bool IsClaimed() const { return claimed; }

    /// Records that the handle that claimed the cable has read everything, or reads no more.
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
    WakeUp readingEnded{Descriptors::OfSystem()};
};

/// The driver of "UMF1:". A client of its socket is a USB host: it is attached when it connects,
/// and detached when it has closed and what it sent was read. A second client isn't accepted before
/// the first is detached. Open and Plugged are thread-safe; one thread calls Start and Stop.
class UsbDriver final : public DeviceDriver {
public:
    /// Makes the two named events. `listening` must outlive the call of Stop.
    UsbDriver(const DeviceSocket& listening, SystemEventRegistry& events,
              std::shared_ptr<OutputFlusher> outputFlusher);
    ~UsbDriver() override { Stop(); }

    /// Starts the thread that serves the socket. Returns false if the system can't create it:
    /// clients are never accepted then, and the hub works without USB hosts. Called once.
    [[nodiscard]] bool Start();
    /// Detaches the host and ends the thread. Blocks until it has ended. Further calls do nothing.
    void Stop();

    std::shared_ptr<DeviceHandle> Open() override;

    /// Returns the cable of the attached host, or an empty reference if there is none. Doesn't
    /// block.
    std::shared_ptr<UsbCable> Plugged() const;

private:
    void Run();
    /// Blocks until the next host connects. Returns an empty reference at the stop.
    std::shared_ptr<UsbCable> AwaitHost();
    /// Blocks until the host has disconnected and what it sent was read.
    void AwaitDetach(UsbCable& cable);
    /// Blocks until a handle has read what the host sent, or none has claimed the cable for a
    /// while.
    void AwaitEndOfReading(const UsbCable& cable);
    void SetPlugged(std::shared_ptr<UsbCable> cable);

    const DeviceSocket& socket;
    const std::shared_ptr<OutputFlusher> flusher;
    const std::shared_ptr<SystemEvent> attachedEvent;
    const std::shared_ptr<SystemEvent> removedEvent;
    WakeUp wake{Descriptors::OfSystem()};
    std::atomic<bool> stopping{false};
    Mutex lock;
    std::shared_ptr<UsbCable> plugged GUARDED_BY(lock);
    NativeThread thread;
};

}  // namespace vantry
