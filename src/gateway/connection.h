#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "gateway/error_response.h"
#include "gateway/http_message.h"
#include "gateway/response_text.h"
#include "gateway/statistics.h"

// One connection of a client. This header is for server.cpp alone, because what it includes takes
// long to compile.
//
// A connection goes round: it reads a head, asks the handler whether it is refused, reads the body,
// hands the request over, and writes the response. A source of a body is asked for a part when the
// one before has been taken by the socket, so a slow client holds one part. Each step sets a
// deadline, which the server compares with the clock once a second. A connection lives as long as
// an operation of it is under way.

namespace vantry::gateway {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using Clock = std::chrono::steady_clock;
using Socket = asio::ip::tcp::socket;
using TlsStream = asio::ssl::stream<Socket>;

/// What the server does with connections of either kind.
class AnyConnection {
public:
    virtual ~AnyConnection() = default;
    virtual void Start() = 0;
    virtual void Close() = 0;
    /// Continues a stream that waits for news.
    virtual void Wake() = 0;

    /// When the connection is closed unless it gets further.
    Clock::time_point deadline;
    /// When it began to wait for a request; nothing if it has one.
    std::optional<Clock::time_point> waitingSince;
};

/// What connections share.
struct Surroundings {
    RequestHandler& handler;
    Statistics& statistics;
    std::set<AnyConnection*> connections;
};

template <typename Stream>
class Connection : public AnyConnection, public std::enable_shared_from_this<Connection<Stream>> {
public:
    static constexpr bool kHasTls = std::is_same_v<Stream, TlsStream>;

    Connection(Surroundings& around, Stream opened)
        : surroundings(around), stream(std::move(opened)) {
        surroundings.connections.insert(this);
        surroundings.statistics.connections = surroundings.connections.size();
    }
    ~Connection() override {
        EndResponse();
        surroundings.connections.erase(this);
        surroundings.statistics.connections = surroundings.connections.size();
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Start() override {
        boost::system::error_code error;
        localAddress = AddressText(Lowest().local_endpoint(error).address());
        // What the kernel takes for a client that doesn't read is old when it arrives.
        Lowest().set_option(asio::socket_base::send_buffer_size(kSocketBytes), error);
        Lowest().set_option(asio::ip::tcp::no_delay(true), error);
        waitingSince = Clock::now();
        Allow(kFirstRequestTime);
        if constexpr (kHasTls) {
            stream.async_handshake(asio::ssl::stream_base::server,
                                   Then([this](auto bad) { bad ? Close() : ReadHead(); }));
        } else {
            ReadHead();
        }
    }

    void Close() override {
        boost::system::error_code ignored;
        Lowest().close(ignored);
    }

    void Wake() override {
        if (isParked) {
            isParked = false;
            WriteMore();
        }
    }

    static std::string AddressText(const asio::ip::address& address) {
        if (address.is_v6() && address.to_v6().is_v4_mapped()) {
            return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
        }
        return address.to_string();
    }

private:
    static constexpr std::size_t kHeadBytes = 16U << 10U;
    static constexpr std::size_t kBodyBytes = 256U << 10U;
    static constexpr int kSocketBytes = 256 << 10;
    static constexpr std::chrono::seconds kFirstRequestTime{10};
    static constexpr std::chrono::seconds kNextRequestTime{60};
    static constexpr std::chrono::seconds kBodyTime{20};
    static constexpr std::chrono::seconds kAnswerTime{60};
    static constexpr std::chrono::seconds kStallTime{20};
    static constexpr std::chrono::seconds kLingerTime{2};

    Socket& Lowest() {
        if constexpr (kHasTls) {
            return stream.next_layer();
        } else {
            return stream;
        }
    }

    void Allow(std::chrono::seconds time) { deadline = Clock::now() + time; }

    /// Returns a handler that keeps the connection alive.
    template <typename Step>
    auto Then(Step step) {
        return [self = this->shared_from_this(), step](boost::system::error_code error,
                                                       auto&&... counts) mutable {
            step(error, counts...);
        };
    }

    void ReadHead() {
        parser.emplace();
        parser->header_limit(kHeadBytes);
        parser->body_limit(kBodyBytes);
        http::async_read_header(stream, buffer, *parser,
                                Then([this](auto error, std::size_t) { OnHead(error); }));
    }

    void OnHead(boost::system::error_code error) {
        waitingSince.reset();
        if (error) {
            RefuseText(error);
            return;
        }
        const auto& head = parser->get();
        isOld = head.version() < 11;
        keepAlive = head.keep_alive() && !isOld;
        request = {};
        request.method = std::string(head.method_string());
        wantsNoBody = request.method == "HEAD";
        if (wantsNoBody) {
            request.method = "GET";
        }
        request.target = std::string(head.target());
        const auto field = [&head](http::field name) { return std::string(head[name]); };
        request.host = head.count(http::field::host) == 1 ? field(http::field::host) : "";
        request.origin = field(http::field::origin);
        request.authorization = field(http::field::authorization);
        request.accept = field(http::field::accept);
        request.contentType = field(http::field::content_type);
        request.lastEventId = std::string(head["Last-Event-ID"]);
        request.ifNoneMatch = field(http::field::if_none_match);
        request.localAddress = localAddress;
        if (auto refused = surroundings.handler.Refusal(request)) {
            // The body was not read, so there is no next request to find behind it.
            keepAlive = keepAlive && parser->is_done();
            Send(std::move(*refused));
            return;
        }
        if (head[http::field::expect] == "100-continue") {
            out = "HTTP/1.1 100 Continue\r\n\r\n";
            asio::async_write(stream, asio::buffer(out),
                              Then([this](auto bad, std::size_t) { bad ? Close() : ReadBody(); }));
        } else {
            ReadBody();
        }
    }

    void ReadBody() {
        Allow(kBodyTime);
        http::async_read(stream, buffer, *parser, Then([this](auto error, std::size_t) {
                             if (error) {
                                 RefuseText(error);
                                 return;
                             }
                             request.body = std::move(parser->get().body());
                             Answer();
                         }));
    }

    /// Answers a text that is no request.
    void RefuseText(boost::system::error_code error) {
        keepAlive = false;
        if (error == http::error::header_limit) {
            Send(ErrorResponse(431, "the head of the request is too long"));
        } else if (error == http::error::body_limit) {
            Send(ErrorResponse(413, "the body of the request is too long"));
        } else if (error.category() == make_error_code(http::error::bad_target).category() &&
                   error != http::error::end_of_stream && error != http::error::partial_message) {
            Send(ErrorResponse(400, "this is no request of HTTP/1.1"));
        } else {
            Close();
        }
    }

    void Answer() {
        Allow(kAnswerTime);
        surroundings.handler.Handle(std::move(request),
                                    [self = this->shared_from_this()](Response response) {
                                        self->Send(std::move(response));
                                    });
    }

    void Send(Response response) {
        ++surroundings.statistics.responses[response.status];
        source = wantsNoBody ? nullptr : std::move(response.source);
        isChunked = source != nullptr && !isOld;
        const bool isEndless = source != nullptr && source->IsEndless();
        keepAlive = keepAlive && !isEndless && (source == nullptr || isChunked);
        const bool hasUnknownLength = source != nullptr || response.source != nullptr;
        out = HeadText(response, {isChunked, keepAlive, hasUnknownLength});
        if (!wantsNoBody) {
            out += response.body;
        }
        if (isEndless) {
            ++surroundings.statistics.streams;
            WatchForEnd();
        }
        Allow(kStallTime);
        Write(0);
    }

    /// Writes what is in `out` from this place on.
    void Write(std::size_t from) {
        if (from == out.size()) {
            WriteMore();
            return;
        }
        stream.async_write_some(asio::buffer(out) + from,
                                Then([this, from](auto error, std::size_t count) {
                                    if (error) {
                                        Close();
                                        return;
                                    }
                                    surroundings.statistics.bytesSent += count;
                                    Allow(kStallTime);
                                    Write(from + count);
                                }));
    }

    void WriteMore() {
        if (source == nullptr) {
            FinishResponse();
            return;
        }
        std::optional<std::string> part = source->Next();
        if (part && part->empty()) {
            isParked = true;
            deadline = Clock::time_point::max();
            return;
        }
        Allow(kStallTime);
        out = isChunked ? ChunkText(part.value_or("")) : part.value_or("");
        if (!part) {
            EndResponse();
        }
        Write(0);
    }

    void EndResponse() {
        if (source != nullptr && source->IsEndless()) {
            --surroundings.statistics.streams;
        }
        source.reset();
    }

    void FinishResponse() {
        if (keepAlive) {
            waitingSince = Clock::now();
            Allow(kNextRequestTime);
            ReadHead();
            return;
        }
        Allow(kLingerTime);
        if constexpr (kHasTls) {
            stream.async_shutdown(Then([this](auto) { Close(); }));
        } else {
            boost::system::error_code ignored;
            Lowest().shutdown(Socket::shutdown_send, ignored);
            Discard();
        }
    }

    /// Reads until the client closes its side. A socket that is closed with unread bytes resets the
    /// connection, and the client may lose the response.
    void Discard() {
        Lowest().async_read_some(asio::buffer(discarded), Then([this](auto error, std::size_t) {
                                     error ? Close() : Discard();
                                 }));
    }

    /// Notices that the reader of a stream has gone, while nothing is written to it.
    void WatchForEnd() {
        stream.async_read_some(asio::buffer(discarded), Then([this](auto error, std::size_t) {
                                   error ? Close() : WatchForEnd();
                               }));
    }

    Surroundings& surroundings;
    Stream stream;
    std::string localAddress;
    boost::beast::flat_buffer buffer{kHeadBytes + kBodyBytes};
    std::optional<http::request_parser<http::string_body>> parser;
    Request request;
    bool keepAlive = false;
    bool isOld = false;
    bool wantsNoBody = false;
    bool isChunked = false;
    /// Whether the source had nothing to send.
    bool isParked = false;
    std::unique_ptr<BodySource> source;
    std::string out;
    std::array<char, 1024> discarded{};
};

}  // namespace vantry::gateway
