// The system's look-up of a name can't be interrupted and may take minutes, so a thread of its own
// does it and is left alone when the caller gives up. That thread owns what it uses together with
// the caller, and ends when the system answers.

#include "client/name_lookup.h"

#include <netdb.h>

#include <cstring>
#include <memory>
#include <utility>

#include "client/connector.h"
#include "runtime/detached_thread.h"
#include "runtime/lock.h"

namespace vantry::client {
namespace {

using Addresses = Result<std::vector<sockaddr_in>>;

Addresses Ask(const std::string& host, std::uint16_t port, int flags) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0) {
        return Error{ErrorCode::NoConnection, gai_strerror(error)};
    }
    std::vector<sockaddr_in> addresses;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        std::memcpy(&addresses.emplace_back(), entry->ai_addr, sizeof(sockaddr_in));
    }
    freeaddrinfo(list);
    return addresses;
}

struct Lookup {
    Lookup(std::string name, std::uint16_t itsPort) : host(std::move(name)), port(itsPort) {}

    const std::string host;
    const std::uint16_t port;
    Interruption done;
    Mutex lock;
    Addresses result GUARDED_BY(lock) = Error{ErrorCode::TimedOut,
                                              "the name look-up took too long"};
};

void Run(Lookup& lookup) {
    Addresses addresses = Ask(lookup.host, lookup.port, 0);
    {
        ScopedLock guard(lookup.lock);
        lookup.result = std::move(addresses);
    }
    lookup.done.Set();
}

}  // namespace

Addresses LookUp(const std::string& host, std::uint16_t port, const Deadline& deadline,
                 const Interruption* interruption) {
    // An address needs no look-up and no thread.
    if (Addresses numeric = Ask(host, port, AI_NUMERICHOST); numeric) {
        return numeric;
    }
    const auto lookup = std::make_shared<Lookup>(host, port);
    if (!StartDetached([lookup] { Run(*lookup); })) {
        return Error{ErrorCode::NoConnection, "the system has no thread to give"};
    }
    static_cast<void>(WaitFor(lookup->done.Descriptor(), POLLIN, deadline, interruption));
    ScopedLock guard(lookup->lock);
    return lookup->result;
}

}  // namespace vantry::client
