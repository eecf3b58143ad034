#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <memory>
#include <set>

#include "gateway/http_message.h"
#include "gateway/statistics.h"

namespace vantry::gateway {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;
using Socket = asio::ip::tcp::socket;
using TlsStream = asio::ssl::stream<Socket>;

/// A connection as the server sees it, with or without TLS. It lives as long as an operation of it
/// is under way. Used by the thread of the server only.
class AnyConnection : public std::enable_shared_from_this<AnyConnection> {
public:
    virtual ~AnyConnection() = default;
    /// Begins with the first operation. Called once.
    virtual void Start() = 0;
    /// Closes the socket, which ends the operations that are under way.
    virtual void Close() = 0;
    /// Continues a stream that waits for events.
    virtual void Wake() = 0;
    /// Returns whether it sends a body without an end.
    virtual bool IsStream() const = 0;

    /// Closes the connection unless it gets further within this time.
    void Allow(std::chrono::seconds time) { deadline = Clock::now() + time; }
    /// Returns a handler of an operation that keeps the connection alive.
    template <typename Step>
    auto Then(Step step) {
        return
            [self = shared_from_this(), step](boost::system::error_code error,
                                              auto&&... counts) mutable { step(error, counts...); };
    }

    /// When the server closes the connection.
    Clock::time_point deadline;
    /// Whether it waits for a whole request, and since when it waits for that or answers it.
    bool isWaiting = true;
    Clock::time_point since = Clock::now();
};

/// What connections share.
struct Surroundings {
    RequestHandler& handler;
    Statistics& statistics;
    std::set<AnyConnection*> connections;
};

}  // namespace vantry::gateway
