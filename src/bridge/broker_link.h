#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bridge/backoff.h"
#include "bridge/loop.h"
#include "mqtt/connection.h"
#include "mqtt/dialer.h"

namespace vantry::bridge {

/// A printer's connection to the broker, which is made again whenever it is lost. Used by the
/// thread of the loop.
class BrokerLink {
public:
    struct Settings {
        mqtt::Connection::Settings connection;
        std::vector<std::string> filters;
        /// In milliseconds.
        std::uint64_t firstPause;
        std::uint64_t longestPause;
    };
    struct Callbacks {
        /// Returns the will of the connection that is about to be made.
        std::function<mqtt::Message()> onConnecting;
        std::function<void()> onUp;
        /// A connection, or an attempt to make one, has failed; the text says why.
        std::function<void(const std::string& why)> onDown;
        /// Something else went wrong, and the connection stays.
        std::function<void(const std::string& what)> onProblem;
        std::function<void(const mqtt::Message&)> onMessage;
        /// See Connection::Callbacks::onAcknowledged; for messages of QoS 1 alone.
        std::function<void(int number, int reason)> onAcknowledged;
        /// There may be room for more messages.
        std::function<void()> onRoom;
    };

    /// `loop` and `dialer` must live as long as the object.
    BrokerLink(Loop& loop, mqtt::Dialer& dialer, Settings configuration, Callbacks reactions);
    ~BrokerLink();
    BrokerLink(const BrokerLink&) = delete;
    BrokerLink& operator=(const BrokerLink&) = delete;

    /// Begins to connect after so many milliseconds.
    void Start(std::uint64_t delay);
    bool IsUp() const { return connection && connection->IsAccepted(); }
    /// Returns whether the broker and the socket take another message.
    bool HasRoom() const;
    /// Sends a message. Returns its number, or 0 if it was not sent; a connection that fails is
    /// ended later, with onDown.
    int Publish(const mqtt::Message& message);
    /// Ends the connection in order, so that the broker doesn't send the will.
    void Leave();
    /// Does the same, and connects again after a pause.
    void Rejoin();

private:
    using Begun = Result<std::unique_ptr<mqtt::Connection>>;

    void Connect();
    void OnBegun(Begun begun);
    void Work(bool isReadable, bool isWritable);
    void Fail(const std::string& why);
    void Close();
    void OnAccepted(std::uint16_t receiveMaximum);

    Loop& loop;
    mqtt::Dialer& dialer;
    Settings settings;
    const Callbacks callbacks;
    Backoff backoff;
    /// The attempt that the dialer makes, or 0. Tells a job of the loop whether it is too late.
    const std::shared_ptr<mqtt::Dialer::Ticket> dialled = std::make_shared<mqtt::Dialer::Ticket>(0);
    std::unique_ptr<mqtt::Connection> connection;
    int descriptor = -1;
    /// When the connection was accepted, in nanoseconds of NowNanoseconds.
    std::uint64_t acceptedAt = 0;
    std::size_t receiveMaximum = 1;
    /// The numbers of the messages of QoS 1 that the broker hasn't acknowledged.
    std::set<int> inFlight;
    Loop::Timer retry;
    /// Keeps the connection alive, and ends an attempt that takes too long.
    Loop::Timer care;
    std::uint64_t attemptEnds = 0;
};

}  // namespace vantry::bridge
