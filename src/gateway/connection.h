#pragma once

#include <array>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "gateway/any_connection.h"
#include "gateway/request_head.h"
#include "gateway/response_writer.h"

// One connection of a client. This header is for server.cpp alone, because what it includes takes
// long to compile.
//
// A connection goes round: it reads a head, asks the handler whether it is refused, reads the body,
// hands the request over, and lets a writer write the response. Each step sets a deadline, which
// the server compares with the clock once a second.

namespace vantry::gateway {

template <typename Stream>
class Connection : public AnyConnection {
public:
    static constexpr bool kHasTls = std::is_same_v<Stream, TlsStream>;

    /// `address` is that of this machine to which the client has connected.
    Connection(Surroundings& around, Stream opened, std::string address)
        : surroundings(around),
          stream(std::move(opened)),
          localAddress(std::move(address)),
          writer(stream, *this, around.statistics, [this](bool goesOn) { Finish(goesOn); }) {
        surroundings.connections.insert(this);
        surroundings.statistics.connections = surroundings.connections.size();
    }
    ~Connection() override {
        surroundings.connections.erase(this);
        surroundings.statistics.connections = surroundings.connections.size();
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Start() override {
        boost::system::error_code error;
        // What the kernel takes for a client that doesn't read is old when it arrives.
        Lowest().set_option(asio::socket_base::send_buffer_size(kSocketBytes), error);
        Lowest().set_option(asio::ip::tcp::no_delay(true), error);
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

    void Wake() override { writer.Wake(); }
    bool IsStream() const override { return writer.IsEndless(); }

private:
    static constexpr std::size_t kHeadBytes = 16U << 10U;
    static constexpr std::size_t kBodyBytes = 256U << 10U;
    static constexpr int kSocketBytes = 256 << 10;
    static constexpr std::chrono::seconds kFirstRequestTime{10};
    static constexpr std::chrono::seconds kNextRequestTime{60};
    static constexpr std::chrono::seconds kBodyTime{20};
    static constexpr std::chrono::seconds kAnswerTime{60};
    static constexpr std::chrono::seconds kLingerTime{2};

    Socket& Lowest() {
        if constexpr (kHasTls) {
            return stream.next_layer();
        } else {
            return stream;
        }
    }

    void ReadHead() {
        parser.emplace();
        parser->header_limit(kHeadBytes);
        parser->body_limit(kBodyBytes);
        http::async_read_header(stream, buffer, *parser,
                                Then([this](auto error, std::size_t) { OnHead(error); }));
    }

    void OnHead(boost::system::error_code error) {
        if (error) {
            RefuseText(error);
            return;
        }
        const auto& head = parser->get();
        if (!HasClearLength(head)) {
            RefuseText(http::error::bad_transfer_encoding);
            return;
        }
        request = RequestWith(head);
        request.localAddress = localAddress;
        rules.isOld = head.version() < 11;
        rules.keepAlive = head.keep_alive() && !rules.isOld;
        rules.wantsNoBody = request.method == "HEAD";
        if (rules.wantsNoBody) {
            request.method = "GET";
        }
        if (auto refused = surroundings.handler.Refusal(request)) {
            // The body was not read, so there is no next request to find behind it.
            rules.keepAlive = rules.keepAlive && parser->is_done();
            Send(std::move(*refused));
            return;
        }
        if (head[http::field::expect] == "100-continue") {
            asio::async_write(stream, asio::buffer(kContinue),
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
        rules.keepAlive = false;
        if (auto response = ResponseTo(error)) {
            Send(std::move(*response));
        } else {
            Close();
        }
    }

    void Answer() {
        isWaiting = false;
        since = Clock::now();
        Allow(kAnswerTime);
        surroundings.handler.Handle(
            std::move(request),
            [this, self = shared_from_this()](Response response) { Send(std::move(response)); });
    }

    void Send(Response response) {
        isWaiting = false;
        writer.Send(std::move(response), rules);
        if (writer.IsEndless()) {
            WatchForEnd();
        }
    }

    void Finish(bool goesOn) {
        if (goesOn) {
            isWaiting = true;
            since = Clock::now();
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

    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

    Surroundings& surroundings;
    Stream stream;
    const std::string localAddress;
    boost::beast::flat_buffer buffer{kHeadBytes + kBodyBytes};
    std::optional<http::request_parser<http::string_body>> parser;
    Request request;
    ResponseRules rules;
    ResponseWriter<Stream> writer;
    std::array<char, 1024> discarded{};
};

}  // namespace vantry::gateway
