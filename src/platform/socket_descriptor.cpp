#include "platform/socket_descriptor.h"

#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace vantry {

SocketDescriptor::SocketDescriptor(int descriptor) : number(descriptor), closed(descriptor < 0) {}

SocketDescriptor::~SocketDescriptor() { Close(); }

SocketDescriptor::Use::Use(SocketDescriptor& socket) : owner(socket.Enter() ? &socket : nullptr) {}

SocketDescriptor::Use::~Use() {
    if (owner != nullptr) {
        owner->Leave();
    }
}

SocketDescriptor::Use::Use(Use&& other) noexcept : owner(std::exchange(other.owner, nullptr)) {}

void SocketDescriptor::Close() {
    if (!closed.exchange(true)) {
        shutdown(number, SHUT_RDWR);
        Leave();
    }
}

void SocketDescriptor::ShutDownReceiving() {
    if (const Use use{*this}) {
        shutdown(use.Number(), SHUT_RD);
    }
}

bool SocketDescriptor::Enter() {
    if (closed) {
        return false;
    }
    // Only a count that isn't 0 may grow: at 0 the number is already given back.
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
        close(number);
    }
}

}  // namespace vantry
