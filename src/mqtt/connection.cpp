// A connection on libmosquitto, without the threads, the reconnection and the queue of that
// library.
//
// A handle of the library serves one connection. So the library has no messages of an earlier one
// to send again, its queue holds no more than what this connection's owner has in flight, and files
// of the encryption are read anew each time.
//
// The library takes a packet of any length. A broker that sends much that isn't an answer or a
// message is therefore cut off: the kernel counts the bytes that have arrived, and more than a
// bound without a packet that was understood ends the connection.

#include "mqtt/connection.h"

#include <linux/tcp.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "mqtt/answer_properties.h"
#include "mqtt/library_guard.h"
#include "runtime/clock.h"

namespace vantry::mqtt {
namespace {

/// The bytes that may arrive without a packet that was understood.
constexpr std::uint64_t kMostUnasked = 1U << 20U;
constexpr int kMostInFlight = 32;
constexpr int kGoodbyeMilliseconds = 300;
constexpr const char* kSystemAuthorities = "/etc/ssl/certs";

/// The library is initialised once in a program, by the first connection.
void InitialiseLibrary() {
    static const int done = mosquitto_lib_init();
    static_cast<void>(done);
}

std::string Words(int code) {
    return code == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(code);
}

Outcome Check(int code, const std::string& what) {
    if (code == MOSQ_ERR_SUCCESS) {
        return Done{};
    }
    return Error{ErrorCode::NoConnection, what + ": " + Words(code)};
}

}  // namespace

std::string WordsOfReason(int code) { return mosquitto_reason_string(code); }

void Connection::Destroy::operator()(mosquitto* handle) const { mosquitto_destroy(handle); }

Connection::Connection(const Settings& settings, Callbacks reactions)
    : callbacks(std::move(reactions)),
      isVersion5(settings.isVersion5),
      brokerName(settings.broker.Name()) {
    InitialiseLibrary();
    handle.reset(mosquitto_new(settings.clientId.c_str(), true, this));
}

Connection::~Connection() = default;

Outcome Connection::Configure(const Settings& settings) {
    if (!handle) {
        return Error{ErrorCode::NoConnection, "can't connect: out of memory"};
    }
    mosquitto_int_option(handle.get(), MOSQ_OPT_PROTOCOL_VERSION,
                         isVersion5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
    mosquitto_int_option(handle.get(), MOSQ_OPT_SEND_MAXIMUM, kMostInFlight);
    mosquitto_int_option(handle.get(), MOSQ_OPT_TCP_NODELAY, 1);
    SetCallbacks();
    if (settings.will) {
        if (Outcome set = SetWill(*settings.will); !set) {
            return set;
        }
    }
    return settings.broker.isEncrypted ? SetEncryption(settings.tls) : Done{};
}

void Connection::SetCallbacks() {
    mosquitto_connect_v5_callback_set(
        handle.get(), [](mosquitto*, void* self, int reason, int, const mosquitto_property* list) {
            static_cast<Connection*>(self)->OnConnect(reason, list);
        });
    mosquitto_publish_v5_callback_set(handle.get(), [](mosquitto*, void* self, int number,
                                                       int reason, const mosquitto_property*) {
        auto* const connection = static_cast<Connection*>(self);
        connection->understoodBytes = 0;
        connection->callbacks.onAcknowledged(number, reason);
    });
    mosquitto_message_v5_callback_set(handle.get(),
                                      [](mosquitto*, void* self, const mosquitto_message* message,
                                         const mosquitto_property* list) {
                                          static_cast<Connection*>(self)->OnMessage(*message, list);
                                      });
    mosquitto_subscribe_callback_set(
        handle.get(), [](mosquitto*, void* self, int, int count, const int* granted) {
            constexpr int kFirstRefusal = 0x80;
            int refused = 0;
            for (int index = 0; index < count; ++index) {
                refused += granted[index] >= kFirstRefusal ? 1 : 0;
            }
            const auto& react = static_cast<Connection*>(self)->callbacks.onSubscribed;
            if (react) {
                react(refused);
            }
        });
}

Outcome Connection::SetWill(const Message& will) {
    const int code =
        mosquitto_will_set(handle.get(), will.topic.c_str(), static_cast<int>(will.payload.size()),
                           will.payload.data(), will.qos, will.retain);
    if (code != MOSQ_ERR_SUCCESS) {
        return Error{ErrorCode::Refused, "the will can't be used: " + Words(code)};
    }
    return Done{};
}

Outcome Connection::SetEncryption(const TlsFiles& files) {
    const auto orNull = [](const std::string& text) {
        return text.empty() ? nullptr : text.c_str();
    };
    const int code = mosquitto_tls_set(handle.get(), orNull(files.ca),
                                       files.ca.empty() ? kSystemAuthorities : nullptr,
                                       orNull(files.certificate), orNull(files.key), nullptr);
    if (code != MOSQ_ERR_SUCCESS) {
        return Error{ErrorCode::Refused, "a file of the encryption can't be used: " + Words(code)};
    }
    return Done{};
}

Result<std::unique_ptr<Connection>> Connection::Begin(const Settings& settings,
                                                      Callbacks callbacks) {
    std::unique_ptr<Connection> connection(new Connection(settings, std::move(callbacks)));
    if (Outcome configured = connection->Configure(settings); !configured) {
        return configured.error();
    }
    const int code = mosquitto_connect_async(connection->handle.get(), settings.broker.host.c_str(),
                                             settings.broker.port, settings.keepAliveSeconds);
    if (Outcome begun = Check(code, "can't reach the broker at " + connection->brokerName);
        !begun) {
        return begun.error();
    }
    return connection;
}

int Connection::Descriptor() const { return mosquitto_socket(handle.get()); }

bool Connection::WantsToWrite() const {
    // While the encryption waits for the broker, the library has a packet to write and can't: a
    // loop that waited for a writable socket would never rest.
    const auto* const encryption = static_cast<const SSL*>(mosquitto_ssl_get(handle.get()));
    if (encryption != nullptr && SSL_in_init(encryption) == 1 && SSL_want_read(encryption)) {
        return false;
    }
    return mosquitto_want_write(handle.get());
}

bool Connection::IsFlooded() {
    tcp_info info{};
    socklen_t length = sizeof info;
    if (getsockopt(Descriptor(), IPPROTO_TCP, TCP_INFO, &info, &length) != 0) {
        return false;
    }
    if (understoodBytes == 0) {
        understoodBytes = info.tcpi_bytes_received;
    }
    return info.tcpi_bytes_received > understoodBytes + kMostUnasked;
}

Outcome Connection::Work(bool isReadable, bool isWritable) {
    int code = MOSQ_ERR_SUCCESS;
    if (isReadable) {
        const auto taken = Guarded([this] { return mosquitto_loop_read(handle.get(), 1); });
        code = taken.value_or(MOSQ_ERR_PROTOCOL);
        // What the library has lost of a packet of version 5 must not come together: once is
        // enough.
        isVersionRefused = isVersionRefused || (!taken && isVersion5);
        if (code == MOSQ_ERR_SUCCESS && IsFlooded()) {
            return Error{ErrorCode::NoConnection,
                         "the broker at " + brokerName + " sends what was not asked for"};
        }
    }
    if (code == MOSQ_ERR_SUCCESS && (isWritable || WantsToWrite())) {
        code = mosquitto_loop_write(handle.get(), 1);
    }
    if (code == MOSQ_ERR_SUCCESS) {
        code = mosquitto_loop_misc(handle.get());
    }
    if (!refusal.empty()) {
        return Error{ErrorCode::NoConnection,
                     "the broker at " + brokerName + " refuses the connection: " + refusal};
    }
    return Check(code,
                 (isAccepted ? "lost the broker at " : "can't reach the broker at ") + brokerName);
}

Outcome Connection::WaitAndWork(int milliseconds) {
    pollfd waited{Descriptor(), POLLIN, 0};
    if (WantsToWrite()) {
        waited.events |= POLLOUT;
    }
    poll(&waited, 1, milliseconds);
    return Work((waited.revents & ~POLLOUT) != 0, (waited.revents & POLLOUT) != 0);
}

void Connection::OnConnect(int reason, const mosquitto_property* properties) {
    constexpr int kVersionRefused3 = 1;
    understoodBytes = 0;
    if (reason != 0) {
        isVersionRefused = isVersion5 ? reason == MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION ||
                                            reason == kVersionRefused3
                                      : false;
        refusal = isVersion5 && reason >= MQTT_RC_UNSPECIFIED ? mosquitto_reason_string(reason)
                                                              : mosquitto_connack_string(reason);
        return;
    }
    std::uint16_t maximum = kMostInFlight;
    mosquitto_property_read_int16(properties, MQTT_PROP_RECEIVE_MAXIMUM, &maximum, false);
    isAccepted = true;
    callbacks.onAccepted(maximum);
}

void Connection::OnMessage(const mosquitto_message& message, const mosquitto_property* properties) {
    understoodBytes = 0;
    Message received;
    received.topic = message.topic;
    if (message.payload != nullptr) {
        received.payload.assign(static_cast<const char*>(message.payload),
                                static_cast<std::size_t>(message.payloadlen));
    }
    received.qos = message.qos;
    received.retain = message.retain;
    ReadAnswerProperties(properties, received);
    callbacks.onMessage(received);
}

Result<int> Connection::Publish(const Message& message) {
    AnswerProperties properties;
    if (isVersion5) {
        properties.Add(message);
    }
    int number = 0;
    const int code = mosquitto_publish_v5(
        handle.get(), &number, message.topic.c_str(), static_cast<int>(message.payload.size()),
        message.payload.data(), message.qos, message.retain, properties.Get());
    if (Outcome sent = Check(code, "can't publish " + message.topic); !sent) {
        return sent.error();
    }
    return number;
}

Outcome Connection::Subscribe(const std::vector<std::string>& filters, int qos) {
    std::vector<char*> texts;
    for (const std::string& filter : filters) {
        texts.push_back(const_cast<char*>(filter.c_str()));
    }
    return Check(mosquitto_subscribe_multiple(handle.get(), nullptr, static_cast<int>(texts.size()),
                                              texts.data(), qos, 0, nullptr),
                 "can't subscribe");
}

void Connection::Leave() {
    // The library closes its descriptor when it sends the disconnect. If acknowledgements arrived
    // after that, the kernel would reset the connection, and the broker could lose what it hasn't
    // read yet.
    const int copy = dup(Descriptor());
    mosquitto_disconnect(handle.get());
    mosquitto_loop_write(handle.get(), 1);
    if (copy < 0) {
        return;
    }
    shutdown(copy, SHUT_WR);
    pollfd waited{copy, POLLIN, 0};
    std::array<char, 4096> ignored{};
    // A broker may send without an end.
    const std::uint64_t end = NowNanoseconds() + kGoodbyeMilliseconds * kNanosecondsPerMillisecond;
    while (NowNanoseconds() < end && poll(&waited, 1, kGoodbyeMilliseconds) > 0 &&
           recv(copy, ignored.data(), ignored.size(), MSG_DONTWAIT) > 0) {
    }
    close(copy);
}

}  // namespace vantry::mqtt
