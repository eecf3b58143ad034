// A descriptor with a count of its users.
//
// A thread that blocks in recv holds no lock, so a lock can't keep another thread from closing the
// descriptor under it; and once it is closed, the system may give the same number to the next
// connection, whose bytes the first thread would then receive. Therefore the users are counted:
// the owner is one, and each Use is one. If there are others, Close shuts the socket down, which
// ends blocking calls, and gives up the owner's part; the user that makes the count 0 closes the
// descriptor. A count of 0 never grows again. Each use costs two atomic operations.

#include "platform/socket_descriptor.h"

#include <sys/socket.h>

#include <utility>

namespace vantry {

SocketDescriptor::SocketDescriptor(Descriptors& calls, int descriptor)
    : descriptors(calls), number(descriptor), closed(descriptor < 0) {}

SocketDescriptor::~SocketDescriptor() { Close(); }

SocketDescriptor::Use::Use(SocketDescriptor& socket) : owner(socket.Enter() ? &socket : nullptr) {}

SocketDescriptor::Use::~Use() {
    if (owner != nullptr) {
        owner->Leave();
    }
}

SocketDescriptor::Use::Use(Use&& other) noexcept : owner(std::exchange(other.owner, nullptr)) {}

void SocketDescriptor::Close() {
    if (closed.exchange(true)) {
        return;
    }
    // Without another user no call can block, and none can begin any more.
    std::uint32_t owner = 1;
    if (users.compare_exchange_strong(owner, 0)) {
        descriptors.Close(number);
    } else {
        descriptors.ShutDown(number, SHUT_RDWR);
        Leave();
    }
}

void SocketDescriptor::ShutDownReceiving() {
    if (const Use use{*this}) {
        descriptors.ShutDown(use.Number(), SHUT_RD);
    }
}

bool SocketDescriptor::Enter() {
    if (closed) {
        return false;
    }
    // A count of 0 must not grow: the descriptor is closed then.
    std::uint32_t count = users;
    while (count != 0) {
        if (users.compare_exchange_weak(count, count + 1)) {
            return true;
        }
    }
    return false;
}

void SocketDescriptor::Leave() {
    if (users.fetch_sub(1) == 1) {
        descriptors.Close(number);
    }
}

}  // namespace vantry
