#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "client/result.h"
#include "gateway/http_message.h"
#include "gateway/statistics.h"

namespace vantry::gateway {

/// Serves HTTP/1.1, with or without TLS, on the thread that calls Run. Nothing that a client does
/// or leaves undone delays another one: no call on a socket blocks, and every step of a connection
/// has a deadline. docs/GATEWAY.md lists the bounds.
class Server {
public:
    struct Settings {
        /// An address of this machine, IPv4 or IPv6.
        std::string address = "127.0.0.1";
        /// 0 takes a free one.
        std::uint16_t port = 0;
        /// Files in PEM form; both empty for no TLS. They are read again when they have changed.
        std::string certificate = {};
        std::string key = {};
    };

    /// The handler and the statistics must outlive the server.
    Server(Settings given, RequestHandler& requestHandler, Statistics& statistics);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Reads the certificate and opens the port. Returns Refused if the certificate, its key or the
    /// address is wrong, and NoConnection if the port can't be had.
    client::Outcome Listen();
    /// Returns the address for a browser, such as "http://127.0.0.1:9180/". Valid after Listen.
    std::string Url() const;
    /// Serves until a signal SIGTERM, SIGINT or SIGHUP arrives, and closes all connections.
    void Run();
    /// Runs a function on the thread of Run, later. Thread-safe. What is posted after the end of
    /// Run is dropped.
    void Post(std::function<void()> function);
    /// Lets streams that wait for events look for new ones. Called on the thread of Run.
    void WakeStreams();
    /// Closes the streams, whose readers come back. Called on the thread of Run.
    void CloseStreams();

private:
    class Core;
    const std::unique_ptr<Core> core;
};

}  // namespace vantry::gateway
