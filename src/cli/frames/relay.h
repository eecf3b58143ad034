#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "cli/frames/frame_cutter.h"
#include "client/endpoint.h"
#include "client/result.h"

struct pollfd;

namespace vantry::cli {

/// Listens at a local socket and connects each program that comes to the hub, so that it sees what
/// both say. The memory is bounded: a side that doesn't read makes the other one wait, as it would
/// without the relay. Only one thread may use it.
class Relay {
public:
    /// Called with each frame: the number of its connection from 0, whether it goes to the hub, its
    /// first bytes, and its whole length. Returns false if the relay is to end.
    using Sink =
        std::function<bool(std::uint32_t, bool toHub, std::string_view kept, std::uint64_t length)>;
    /// Called when a program has connected, with what is known of it. Returns false as above.
    using Greeter = std::function<bool(std::uint32_t, const std::string& program)>;

    Relay(client::Endpoint ofHub, std::size_t mostKept, Greeter connected, Sink frames);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    /// Makes the socket, to which those may connect who may connect to the local device. Returns
    /// Refused if something else is at this path; what an earlier relay left there is replaced.
    client::Outcome Listen(const std::string& path);
    /// Carries bytes until a signal interrupts it or a function returns false, and then closes all
    /// connections. Calls `tick` about once a second.
    void Run(const std::function<void()>& tick);

private:
    class Connection;

    void Accept();
    void Serve(std::vector<pollfd>& waiting);

    const client::Endpoint hub;
    const std::size_t most;
    const Greeter greeter;
    const Sink sink;
    std::string listenPath;
    int listening = -1;
    std::uint32_t count = 0;
    bool isEnding = false;
    std::list<Connection> connections;
};

}  // namespace vantry::cli
