#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/limits.h"
#include "platform/notices.h"
#include "platform/turns.h"
#include "runtime/lock.h"

namespace vantry {

class Accounting;

/// The kinds of transport over which external peers connect.
enum class Link : std::uint8_t { Tcp, Usb, Bluetooth };

/// The resources that are counted for each external connection and for all of them together.
enum class Resource : std::uint8_t {
    /// Bytes of messages that have arrived only in part.
    ReceivedText,
    /// Bytes of answers that are being encoded.
    Answer,
    /// Bytes that wait to be sent to the peer.
    Output,
    Properties,
    PropertyText,
    Subscriptions,
};
inline constexpr std::size_t kResourceCount = 6;

/// Counts the resources that one external connection uses.
///
/// The connection's stream, which gets it from Accounting::Admit, shares its ownership with what
/// the connection has left in the hub, such as reported properties. Any thread may call any
/// operation. Some take a lock for a short time; none waits for a peer or a disk.
class ConnectionAccount : public std::enable_shared_from_this<ConnectionAccount> {
public:
    ~ConnectionAccount();
    ConnectionAccount(const ConnectionAccount&) = delete;
    ConnectionAccount& operator=(const ConnectionAccount&) = delete;

    /// Returns the link and, if it has one, the peer's address, as in "TCP 192.168.0.7:50312".
    const std::string& Peer() const { return peer; }
    Accounting& Owner() const { return *accounting; }

    /// Adds a function that closes a part of the connection, such as the stream, which must end a
    /// blocked read, or the output, which must drop what waits. Called before other threads use the
    /// account. `closeNow` is called at most once, by any thread, and must not wait for the peer.
    void OnCut(std::function<void()> closeNow);

    /// Adds `amount` to what is counted. Returns the bound that is exceeded then, if one is; the
    /// amount stays counted, and the caller must refuse the request or close a connection.
    [[nodiscard]] std::optional<Bound> Add(Resource resource, std::uint64_t amount);
    /// Subtracts `amount`, which must have been added before.
    void Remove(Resource resource, std::uint64_t amount);
    std::uint64_t Held(Resource resource) const { return held[Place(resource)]; }

    /// Counts a text of `size` bytes, identified by its address, as output of this connection. The
    /// total counts a text once, however many connections hold it and how often. Returns what Add
    /// returns.
    [[nodiscard]] std::optional<Bound> AddShared(const void* text, std::uint64_t size);
    /// Ends one AddShared of this connection. Only after AddShared with the same text.
    void RemoveShared(const void* text);

    /// Closes the connection because of a bound and reports that to the operator. Further calls do
    /// nothing.
    void Cut(Bound bound);
    bool WasCut() const { return cut; }

    /// Ends the connection's part in the number of connections, because its session has ended. What
    /// it left in the hub stays counted. Further calls do nothing.
    void Leave();
    /// Returns when Leave was called, on the clock of NowNanoseconds; 0 if it wasn't called.
    std::uint64_t LeftAt() const { return leftAt; }

    /// Records that the hub is about to stop, so that work of this connection is dropped where it
    /// waits or takes long.
    void Dismiss() { dismissed = true; }
    bool IsDismissed() const { return dismissed; }
    /// Returns whether such work of this connection is dropped: it was closed because of a
    /// bound, or the hub is about to stop.
    bool IsEnding() const { return cut || dismissed; }

    /// Records the present time as that of the last arrival of a part of a message.
    void NoteArrival();
    /// Records that a message has arrived whole: until NoteArrival it waits for the hub and not for
    /// its peer.
    void NoteWhole() { lastArrival = std::numeric_limits<std::uint64_t>::max(); }
    std::uint64_t LastArrival() const { return lastArrival; }

private:
    friend class Accounting;

    ConnectionAccount(std::shared_ptr<Accounting> books, Link transport, std::string peerName);

    static std::size_t Place(Resource resource) { return static_cast<std::size_t>(resource); }

    const std::shared_ptr<Accounting> accounting;
    const Link link;
    const std::string peer;
    std::array<std::atomic<std::uint64_t>, kResourceCount> held{};
    std::atomic<std::uint64_t> lastArrival;
    std::atomic<std::uint64_t> leftAt{0};
    std::atomic<bool> cut{false};
    std::atomic<bool> hasLeft{false};
    std::atomic<bool> dismissed{false};
    Mutex closeLock;
    std::vector<std::function<void()>> closers GUARDED_BY(closeLock);
};

/// Counts the resources of all external connections together, and closes the connections that use
/// most. All operations are thread-safe. While a connection is closed, no lock is held but the one
/// that lets one thread at a time choose which.
class Accounting : public std::enable_shared_from_this<Accounting> {
public:
    /// `hubNotices` must outlive the hub.
    Accounting(const Limits& limits, Notices& hubNotices);

    const Limits& Bounds() const { return bounds; }
    Notices& OperatorNotices() const { return notices; }
    /// Returns the semaphore that bounds how many large texts of external connections are parsed
    /// and answered at the same time.
    Turns& LargeTexts() { return largeTexts; }
    /// Returns the one for shorter texts that take much work to read, and the one for messages that
    /// take much work to answer. Who has a turn of one kind never waits for one of another.
    Turns& DemandingTexts() { return demandingTexts; }
    Turns& LongAnswers() { return longAnswers; }

    /// Returns the account of a new connection. Returns an empty reference, and reports that to the
    /// operator, if the bound on connections is reached; the caller must close the connection then.
    /// `address` may be empty.
    [[nodiscard]] std::shared_ptr<ConnectionAccount> Admit(Link link, const std::string& address);

    std::uint64_t Total(Resource resource) const {
        return totals[static_cast<std::size_t>(resource)];
    }
    /// Closes the connections that use most of `resource` until all others together are within its
    /// bound, or have less than seven eighths of the bound for Output. What counts for ReceivedText
    /// is how much the connection holds times how long it has sent nothing, and for the others,
    /// those that have ended go first.
    void Relieve(Resource resource);
    /// Returns how many external connections have a session.
    std::uint64_t Connections() const { return connections; }

private:
    friend class ConnectionAccount;

    /// The account to be closed next, and how much those use that aren't closed yet.
    struct Holding {
        std::shared_ptr<ConnectionAccount> worst;
        std::uint64_t kept = 0;
    };

    Holding FindWorst(Resource resource) const;
    void RelieveOutput();
    /// Returns the connections for which output waits, beginning with the one that uses most. A
    /// shared text is divided equally among the connections that hold it. Takes a time that grows
    /// with the number of waiting texts.
    std::vector<std::shared_ptr<ConnectionAccount>> OutputHolders() const;
    /// Removes an account that is being destroyed from the list.
    void Forget(const ConnectionAccount& account);

    const Limits bounds;
    Notices& notices;
    Turns largeTexts;
    Turns demandingTexts;
    Turns longAnswers;
    std::array<std::atomic<std::uint64_t>, kResourceCount> totals{};
    std::atomic<std::uint64_t> connections{0};
    std::atomic<std::uint64_t> tcpConnections{0};
    struct SharedText {
        std::uint64_t size = 0;
        /// The connections that hold the text, and how often each does.
        std::map<const ConnectionAccount*, std::uint64_t> holders;
    };
    mutable Mutex sharedLock;
    std::unordered_map<const void*, SharedText> sharedTexts GUARDED_BY(sharedLock);
    /// Held by a thread that closes connections because of their output, so that a second one
    /// doesn't close more before those have dropped theirs.
    Mutex relievingOutput;
    mutable Mutex lock;
    std::vector<ConnectionAccount*> accounts GUARDED_BY(lock);
};

/// An amount of one resource that is counted until the end of a scope. For one thread.
class ScopedCharge {
public:
    /// `charged` may be empty, as for an internal stream: then nothing is counted and there is no
    /// bound.
    ScopedCharge(std::shared_ptr<ConnectionAccount> charged, Resource what)
        : account(std::move(charged)), resource(what) {}
    ~ScopedCharge() {
        if (account && amount != 0) {
            account->Remove(resource, amount);
        }
    }
    ScopedCharge(const ScopedCharge&) = delete;
    ScopedCharge& operator=(const ScopedCharge&) = delete;

    /// Adds `more`. Returns the bound that is exceeded then, if one is.
    [[nodiscard]] std::optional<Bound> Add(std::uint64_t more) {
        if (!account) {
            return std::nullopt;
        }
        amount += more;
        return account->Add(resource, more);
    }
    std::uint64_t Amount() const { return amount; }

private:
    const std::shared_ptr<ConnectionAccount> account;
    const Resource resource;
    std::uint64_t amount = 0;
};

}  // namespace vantry
