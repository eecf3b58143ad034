#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mqtt/broker_address.h"
#include "mqtt/message.h"
#include "mqtt/tls_files.h"
#include "runtime/result.h"

struct mosquitto;
struct mosquitto_message;
struct mqtt5__property;  // NOLINT(bugprone-reserved-identifier): the name is of libmosquitto

namespace vantry::mqtt {

/// Returns the words for a reason code of version 5. Thread-safe.
std::string WordsOfReason(int code);

/// One connection to a broker, for a program that has its own loop: it never blocks, except for the
/// look-up of the host's name. When it has ended, the program makes a new one.
///
/// It belongs to one thread. A callback runs within Work or Publish, and must not destroy the
/// connection.
class Connection {
public:
    struct Settings {
        BrokerAddress broker;
        TlsFiles tls;
        std::string clientId;
        /// After one and a half times as many seconds without a sign the broker sends the will.
        int keepAliveSeconds = 60;
        /// Whether version 5 of the protocol is spoken, and 3.1.1 otherwise.
        bool isVersion5 = true;
        std::optional<Message> will = {};
    };
    struct Callbacks {
        /// The broker has accepted the connection, and takes so many messages of QoS 1 at a time.
        std::function<void(std::uint16_t receiveMaximum)> onAccepted;
        /// The broker has acknowledged the message of this number. The reason is 0 or, in version
        /// 5, a reason code; codes from 0x80 are refusals.
        std::function<void(int number, int reason)> onAcknowledged;
        std::function<void(const Message&)> onMessage;
        /// The broker has answered a subscription; `refused` is the number of filters it refused.
        std::function<void(int refused)> onSubscribed = {};
    };

    /// Begins to connect. Returns NoConnection if that fails at once, and Refused if a file of the
    /// encryption can't be used. The callbacks are called after Begin has returned.
    static Result<std::unique_ptr<Connection>> Begin(const Settings& settings, Callbacks callbacks);
    /// Closes the connection without a word to the broker, which then sends the will.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Returns the descriptor to wait on, or -1 when the connection has ended.
    int Descriptor() const;
    /// Returns whether Work must be called when the descriptor is writable, as well as readable.
    bool WantsToWrite() const;
    /// Reads and writes what the descriptor is ready for, keeps the connection alive, and calls the
    /// callbacks. Is to be called when the descriptor is ready, and every few seconds. Returns
    /// NoConnection, with the reason, when the connection has ended.
    Outcome Work(bool isReadable, bool isWritable);
    /// Waits for the descriptor, for so many milliseconds at most, and does what Work does. For a
    /// program that has nothing else to wait for. Blocks.
    Outcome WaitAndWork(int milliseconds);
    /// Sends a message, or queues it if the socket is full. Returns its number.
    Result<int> Publish(const Message& message);
    /// Asks for the messages of these topics with this QoS.
    Outcome Subscribe(const std::vector<std::string>& filters, int qos = 1);
    /// Sends a disconnect, so that the broker doesn't send the will, and ends the connection.
    /// Blocks until the broker has closed its side, for 600 ms at most.
    void Leave();
    /// Returns whether the broker has accepted the connection, so that messages can be published.
    bool IsAccepted() const { return isAccepted; }
    /// Returns whether the next connection should speak version 3.1.1: the broker has refused
    /// version 5, or has sent a packet of it that the library can't take.
    bool IsVersionRefused() const { return isVersionRefused; }

private:
    Connection(const Settings& settings, Callbacks reactions);
    Outcome Configure(const Settings& settings);
    void SetCallbacks();
    Outcome SetWill(const Message& will);
    Outcome SetEncryption(const TlsFiles& files);
    void OnConnect(int reason, const mqtt5__property* properties);
    void OnMessage(const mosquitto_message& message, const mqtt5__property* properties);
    /// Returns whether the broker sends much more than this client asked for.
    bool IsFlooded();

    struct Destroy {
        void operator()(mosquitto* handle) const;
    };

    const Callbacks callbacks;
    const bool isVersion5;
    const std::string brokerName;
    std::unique_ptr<mosquitto, Destroy> handle;
    bool isAccepted = false;
    bool isVersionRefused = false;
    std::string refusal;
    /// The number of bytes that had arrived when a packet was last understood.
    std::uint64_t understoodBytes = 0;
};

}  // namespace vantry::mqtt
