// Bluetooth peers as clients of sockets.
//
// Handles wait for peers by poll on the listening sockets, which don't block, and on a descriptor
// of their own that Close rings. Several handles may wait at a time; each peer gets one of them.
// Close sets `closed` before it looks for a connection, and AwaitPeer stores the connection before
// it looks at `closed`, so one of them closes a peer that arrives at that moment.

#include "host/bluetooth_driver.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <utility>

#include "host/accept_client.h"
#include "host/rfcomm_socket.h"
#include "host/socket_connection.h"
#include "platform/exhaustion.h"
#include "runtime/lock.h"
#include "transport/bluetooth/bluetooth_listener.h"
#include "transport/device/device_control_codes.h"

namespace vantry {
namespace {

/// A handle of "BTD0:". It has a peer once kAwaitPeer has succeeded.
class BluetoothHandle final : public DeviceHandle {
public:
    BluetoothHandle(int socket, int rfcomm, std::shared_ptr<OutputFlusher> outputFlusher)
        : listening{socket, rfcomm}, flusher(std::move(outputFlusher)) {}

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const std::shared_ptr<SocketConnection> peer = Peer();
        return peer ? peer->Read(buffer, length, -1) : kFailed;
    }

    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        const std::shared_ptr<SocketConnection> peer = Peer();
        return peer ? peer->Write(buffer, length) : kFailed;
    }

    std::int32_t WriteShared(const SharedFrame& frame) override {
        const std::shared_ptr<SocketConnection> peer = Peer();
        return peer ? peer->WriteShared(frame) : kFailed;
    }

    void ChargeTo(const std::shared_ptr<ConnectionAccount>& account) override {
        if (const std::shared_ptr<SocketConnection> peer = Peer()) {
            peer->ChargeTo(account);
        }
    }

    bool Control(std::uint32_t code, std::span<const std::uint8_t>,
                 std::span<std::uint8_t>) override {
        return code == ControlCode::kAwaitPeer && AwaitPeer();
    }

    void Close() override {
        closed = true;
        {
            ScopedLock guard(lock);
            if (closing) {
                closing->Ring();
            }
        }
        if (const std::shared_ptr<SocketConnection> peer = Peer()) {
            peer->Close();
        }
    }

private:
    std::shared_ptr<SocketConnection> Peer() const {
        ScopedLock guard(lock);
        return connection;
    }

    int ClosingNumber() const {
        ScopedLock guard(lock);
        return closing ? closing->Number() : -1;
    }

    /// Blocks until a client is accepted or the handle is closed. Returns whether there is a peer.
    bool AwaitPeer() {
        // poll ignores a descriptor below 0, as that of hardware that isn't listened on.
        std::array<pollfd, 3> waits{
            {{ClosingNumber(), POLLIN, 0}, {listening[0], POLLIN, 0}, {listening[1], POLLIN, 0}}};
        // Where no descriptor was left for the first of them, nobody can end a longer poll.
        const int patience = waits[0].fd < 0 ? int{kExhaustedMilliseconds} : -1;
        while (!closed) {
            poll(waits.data(), waits.size(), patience);
            for (const int number : listening) {
                const Accepted accepted = AcceptClient(number);
                if (accepted.descriptor >= 0) {
                    return SetPeer(accepted.descriptor);
                }
                if (accepted.exhausted) {
                    poll(waits.data(), 1, kExhaustedMilliseconds);
                }
            }
        }
        return false;
    }

    /// Makes an accepted client the peer. Returns false if the handle was closed meanwhile.
    bool SetPeer(int descriptor) {
        auto peer = std::make_shared<SocketConnection>(descriptor, flusher, OutputLimits{});
        {
            ScopedLock guard(lock);
            connection = peer;
            closing.reset();
        }
        if (closed) {
            peer->Close();
        }
        return !closed;
    }

    const std::array<int, 2> listening;
    const std::shared_ptr<OutputFlusher> flusher;
    std::atomic<bool> closed{false};
    Mutex lock;
    /// Ends AwaitPeer. Given back with the first peer, so that a connection costs one descriptor.
    std::optional<WakeUp> closing GUARDED_BY(lock){Descriptors::OfSystem()};
    std::shared_ptr<SocketConnection> connection GUARDED_BY(lock);
};

}  // namespace

BluetoothDriver::BluetoothDriver(const DeviceSocket& listening,
                                 std::shared_ptr<OutputFlusher> outputFlusher)
    : socket(listening), flusher(std::move(outputFlusher)) {}

BluetoothDriver::~BluetoothDriver() {
    if (rfcomm >= 0) {
        close(rfcomm);
    }
}

bool BluetoothDriver::ListenOnHardware(std::string& error) {
    rfcomm = ListenOnRfcomm(BluetoothListener::kHubChannel, error);
    return rfcomm >= 0;
}

std::shared_ptr<DeviceHandle> BluetoothDriver::Open() {
    return std::make_shared<BluetoothHandle>(socket.Number(), rfcomm, flusher);
}

}  // namespace vantry
