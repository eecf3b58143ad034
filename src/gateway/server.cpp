// The server: a listener, its connections, and a clock.
//
// Everything runs on one thread. Once a second the clock closes the connections whose deadline has
// passed, lets streams send a sign of life, and calls the handler. When there are as many
// connections as there may be, the one that has waited longest for a request makes room for a new
// one, so that clients which connect and say nothing can't keep others out.

#include "gateway/server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <utility>
#include <vector>

#include "gateway/connection.h"

namespace vantry::gateway {
namespace {

constexpr std::size_t kMostConnections = 512;
constexpr std::chrono::seconds kTick{1};

client::Error Refused(const std::string& what, const boost::system::error_code& error) {
    return {client::ErrorCode::Refused, what + ": " + error.message()};
}

}  // namespace

class Server::Core {
public:
    Core(Settings given, RequestHandler& handler, Statistics& statistics)
        : settings(std::move(given)), surroundings{handler, statistics, {}} {}

    client::Outcome Listen() {
        boost::system::error_code error;
        const auto address = asio::ip::make_address(settings.address, error);
        if (error) {
            return Refused("\"" + settings.address + "\" is no address", error);
        }
        if (client::Outcome good = LoadCertificate(); !good) {
            return good;
        }
        const asio::ip::tcp::endpoint endpoint(address, settings.port);
        const auto failed = [&] {
            return client::Error{client::ErrorCode::NoConnection,
                                 "can't listen on " + settings.address + " port " +
                                     std::to_string(settings.port) + ": " + error.message()};
        };
        if (acceptor.open(endpoint.protocol(), error) ||
            acceptor.set_option(asio::socket_base::reuse_address(true), error) ||
            acceptor.bind(endpoint, error) ||
            acceptor.listen(asio::socket_base::max_listen_connections, error)) {
            return failed();
        }
        return client::Done{};
    }

    std::string Url() const {
        const auto endpoint = acceptor.local_endpoint();
        const std::string address = endpoint.address().to_string();
        return (HasTls() ? "https://" : "http://") +
               (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" +
               std::to_string(endpoint.port()) + "/";
    }

    void Run() {
        asio::signal_set ending(context, SIGTERM, SIGINT, SIGHUP);
        ending.async_wait([this](auto, int) { context.stop(); });
        Accept();
        Tick();
        context.run();
    }

    void Post(std::function<void()> function) { asio::post(context, std::move(function)); }

    void WakeStreams() {
        // Waking may close a connection, which leaves the set later, from its own handler.
        for (AnyConnection* const connection :
             std::vector(surroundings.connections.begin(), surroundings.connections.end())) {
            connection->Wake();
        }
    }

private:
    bool HasTls() const { return !settings.certificate.empty(); }

    client::Outcome LoadCertificate() {
        if (!HasTls()) {
            return client::Done{};
        }
        using Tls = asio::ssl::context;
        boost::system::error_code error;
        tls.set_options(Tls::default_workarounds | Tls::no_sslv2 | Tls::no_sslv3 | Tls::no_tlsv1 |
                        Tls::no_tlsv1_1 | Tls::no_compression);
        if (tls.use_certificate_chain_file(settings.certificate, error)) {
            return Refused("can't use the certificate " + settings.certificate, error);
        }
        if (tls.use_private_key_file(settings.key, Tls::pem, error)) {
            return Refused("can't use the key " + settings.key, error);
        }
        return client::Done{};
    }

    void Accept() {
        acceptor.async_accept([this](auto error, Socket socket) {
            if (!error) {
                ++surroundings.statistics.accepted;
                Welcome(std::move(socket));
                Accept();
            } else if (error != asio::error::operation_aborted) {
                // Descriptors have run out. The next tick may have freed some.
                retryAccept = true;
            }
        });
    }

    void Welcome(Socket socket) {
        if (surroundings.connections.size() >= kMostConnections && !MakeRoom()) {
            ++surroundings.statistics.closedForRoom;
            return;
        }
        if (HasTls()) {
            std::make_shared<Connection<TlsStream>>(surroundings, TlsStream(std::move(socket), tls))
                ->Start();
        } else {
            std::make_shared<Connection<Socket>>(surroundings, std::move(socket))->Start();
        }
    }

    /// Closes the connection that has waited longest for a request. Returns false if there is none.
    bool MakeRoom() {
        AnyConnection* longest = nullptr;
        for (AnyConnection* const connection : surroundings.connections) {
            if (connection->waitingSince &&
                (longest == nullptr || *connection->waitingSince < *longest->waitingSince)) {
                longest = connection;
            }
        }
        if (longest == nullptr) {
            return false;
        }
        ++surroundings.statistics.closedForRoom;
        longest->waitingSince.reset();
        longest->Close();
        return true;
    }

    void Tick() {
        clock.expires_after(kTick);
        clock.async_wait([this](auto error) {
            if (error) {
                return;
            }
            const Clock::time_point now = Clock::now();
            for (AnyConnection* const connection : surroundings.connections) {
                if (connection->deadline < now) {
                    ++surroundings.statistics.closedForTime;
                    connection->deadline = Clock::time_point::max();
                    connection->Close();
                }
            }
            WakeStreams();
            surroundings.handler.Tick();
            if (std::exchange(retryAccept, false)) {
                Accept();
            }
            Tick();
        });
    }

    const Settings settings;
    /// Outlives the context, whose end destroys the connections.
    Surroundings surroundings;
    asio::ssl::context tls{asio::ssl::context::tls_server};
    asio::io_context context{1};
    asio::ip::tcp::acceptor acceptor{context};
    asio::steady_timer clock{context};
    bool retryAccept = false;
};

Server::Server(Settings given, RequestHandler& requestHandler, Statistics& statistics)
    : core(std::make_unique<Core>(std::move(given), requestHandler, statistics)) {}

Server::~Server() = default;

client::Outcome Server::Listen() { return core->Listen(); }

std::string Server::Url() const { return core->Url(); }

void Server::Run() { core->Run(); }

void Server::Post(std::function<void()> function) { core->Post(std::move(function)); }

void Server::WakeStreams() { core->WakeStreams(); }

}  // namespace vantry::gateway
