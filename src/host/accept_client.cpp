#include "host/accept_client.h"

#include <sys/socket.h>

#include <cerrno>

#include "platform/exhaustion.h"

namespace vantry {

Accepted AcceptClient(int listening) {
    const int descriptor = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    return {descriptor, descriptor < 0 && IsExhaustion(errno)};
}

}  // namespace vantry
