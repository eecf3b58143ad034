// The server: a listener, its connections, and a clock.
//
// Everything runs on one thread. Once a second the clock closes the connections whose deadline has
// passed, lets streams send a sign of life, and calls the handler. When there are as many
// connections as there may be, one makes room for a new one: the one that has waited longest for a
// request, or else the one that has taken longest over its response. So clients that say nothing,
// or take nothing, can't keep others out. Streams stay; they have a bound of their own.
//
// The clock also looks at the files of the certificate. When they have changed, new connections get
// the new certificate; if it is wrong, they get the one before.

#include "gateway/server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "gateway/changed_files.h"
#include "gateway/connection.h"

namespace vantry::gateway {
namespace {

constexpr std::size_t kMostConnections = 512;
constexpr std::chrono::seconds kTick{1};

using TlsContext = asio::ssl::context;

client::Error Refused(const std::string& what, const boost::system::error_code& error) {
    return {client::ErrorCode::Refused, what + ": " + error.message()};
}

/// Returns the address of this machine to which a client has connected, or an empty text.
std::string LocalAddress(const Socket& socket) {
    boost::system::error_code error;
    const asio::ip::address address = socket.local_endpoint(error).address();
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
    }
    return error ? "" : address.to_string();
}

/// Reads a certificate and its key. Returns Refused if they are wrong or don't belong together.
client::Result<std::unique_ptr<TlsContext>> LoadCertificate(const std::string& certificate,
                                                            const std::string& key) {
    auto tls = std::make_unique<TlsContext>(TlsContext::tls_server);
    boost::system::error_code error;
    tls->set_options(TlsContext::default_workarounds | TlsContext::no_sslv2 | TlsContext::no_sslv3 |
                     TlsContext::no_tlsv1 | TlsContext::no_tlsv1_1 | TlsContext::no_compression);
    if (tls->use_certificate_chain_file(certificate, error)) {
        return Refused("can't use the certificate " + certificate, error);
    }
    if (tls->use_private_key_file(key, TlsContext::pem, error)) {
        return Refused("can't use the key " + key, error);
    }
    return tls;
}

}  // namespace

class Server::Core {
public:
    Core(Settings given, RequestHandler& handler, Statistics& statistics)
        : settings(std::move(given)),
          surroundings{handler, statistics, {}},
          certificateFiles({settings.certificate, settings.key}) {}

    client::Outcome Listen() {
        boost::system::error_code error;
        const auto address = asio::ip::make_address(settings.address, error);
        if (error) {
            return Refused("\"" + settings.address + "\" is no address", error);
        }
        if (HasTls()) {
            auto loaded = LoadCertificate(settings.certificate, settings.key);
            if (!loaded) {
                return loaded.error();
            }
            tls = std::move(*loaded);
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

    void CloseStreams() {
        for (AnyConnection* const connection : surroundings.connections) {
            if (connection->IsStream()) {
                connection->Close();
            }
        }
    }

    void WakeStreams() {
        // Waking may close a connection, which leaves the set later, from its own handler.
        for (AnyConnection* const connection :
             std::vector(surroundings.connections.begin(), surroundings.connections.end())) {
            connection->Wake();
        }
    }

private:
    bool HasTls() const { return !settings.certificate.empty(); }

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
        std::string address = LocalAddress(socket);
        if (HasTls()) {
            std::make_shared<Connection<TlsStream>>(
                surroundings, TlsStream(std::move(socket), *tls), std::move(address))
                ->Start();
        } else {
            std::make_shared<Connection<Socket>>(surroundings, std::move(socket),
                                                 std::move(address))
                ->Start();
        }
    }

    /// Closes a connection to make room. Returns false if there are only streams.
    bool MakeRoom() {
        const auto isBetter = [](const AnyConnection* one, const AnyConnection* other) {
            return one->isWaiting != other->isWaiting ? one->isWaiting : one->since < other->since;
        };
        AnyConnection* best = nullptr;
        for (AnyConnection* const connection : surroundings.connections) {
            if (!connection->IsStream() && (best == nullptr || isBetter(connection, best))) {
                best = connection;
            }
        }
        if (best == nullptr) {
            return false;
        }
        ++surroundings.statistics.closedForRoom;
        // It leaves the set later, from its own handler, and must not be chosen again until then.
        best->isWaiting = false;
        best->since = Clock::time_point::max();
        best->Close();
        return true;
    }

    void RenewCertificate() {
        if (!HasTls() || !certificateFiles.HaveChanged()) {
            return;
        }
        if (auto loaded = LoadCertificate(settings.certificate, settings.key)) {
            // Connections that use the one before keep it alive.
            tls = std::move(*loaded);
        } else {
            std::fprintf(stderr, "vantry-gateway: %s; the one before stays in use\n",
                         loaded.error().text.c_str());
        }
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
            RenewCertificate();
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
    ChangedFiles certificateFiles;
    /// Null without TLS.
    std::unique_ptr<TlsContext> tls;
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

void Server::CloseStreams() { core->CloseStreams(); }

}  // namespace vantry::gateway
