#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
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

/// The kinds of transport that lead out of the printer.
enum class Link : std::uint8_t { Tcp, Usb, Bluetooth };

/// What external connections hold and what is counted for each of them and for all together.
enum class Resource : std::uint8_t {
    /// Bytes of messages that haven't arrived whole.
    ReceivedText,
    /// Bytes of answers being put together.
    Answer,
    /// Bytes that wait for the peer.
    Output,
    Properties,
    PropertyText,
    Subscriptions,
};
inline constexpr std::size_t kResourceCount = 6;

/// What one external connection makes the hub hold. Shared by the connection's stream, which gets
/// it from Accounting::Admit, and by whatever the connection has left in the hub. Any thread may
/// call any operation; none blocks, except Cut and the last release, which take a short lock.
class ConnectionAccount : public std::enable_shared_from_this<ConnectionAccount> {
public:
    ~ConnectionAccount();
    ConnectionAccount(const ConnectionAccount&) = delete;
    ConnectionAccount& operator=(const ConnectionAccount&) = delete;

    /// The link and, where it has one, the peer's address, as in "TCP 192.168.0.7:50312".
    const std::string& Peer() const { return peer; }
    Accounting& Owner() const { return *accounting; }

    /// Says how the connection is closed. Whoever made the stream calls it once, before other
    /// threads know the account. `closeNow` may be called by any thread, at most once; it must not
    /// wait for the peer, and must wake a blocked reader.
    void OnCut(std::function<void()> closeNow);

    /// Counts `amount` more. Returns the bound that is exceeded then, if one is; the amount stays
    /// counted, and it is for the caller to refuse, or to close a connection.
    [[nodiscard]] std::optional<Bound> Add(Resource resource, std::uint64_t amount);
    void Remove(Resource resource, std::uint64_t amount);
    std::uint64_t Held(Resource resource) const { return held[Place(resource)]; }

    /// Counts a frame of `size` bytes, known by its place in memory, as output of this connection.
    /// However many connections hold the frame, the total has it once. Result as of Add.
    [[nodiscard]] std::optional<Bound> AddShared(const void* frame, std::uint64_t size);
    void RemoveShared(const void* frame);

    /// Closes the connection because of a bound and tells the operator. Only the first call does
    /// anything.
    void Cut(Bound bound);
    bool WasCut() const { return cut; }

    /// Gives the connection's place back to new ones: its session has ended. Only the first call
    /// does anything; what the connection left in the hub stays counted.
    void Leave();
    /// When Leave was called, on the clock of NowNanoseconds; 0 if it wasn't.
    std::uint64_t LeftAt() const { return leftAt; }

    /// Says that the hub is about to stop, so work of this connection that has not begun is
    /// dropped.
    void Dismiss() { dismissed = true; }
    bool IsDismissed() const { return dismissed; }

    /// Notes that a part of a message has arrived.
    void NoteArrival();
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
    Lock closeLock;
    std::function<void()> close GUARDED_BY(closeLock);
};

/// Counts what all external connections together make the hub hold, and knows who holds most.
/// Any thread may call any operation. No lock is held while a connection is closed.
class Accounting : public std::enable_shared_from_this<Accounting> {
public:
    /// `hubNotices` must outlive the hub.
    Accounting(const Limits& limits, Notices& hubNotices);

    const Limits& Bounds() const { return bounds; }
    Notices& OperatorNotices() const { return notices; }
    /// Whose turn it is to have a large text of an external connection parsed and answered.
    Turns& LargeTexts() { return largeTexts; }

    /// Opens the account of a new connection. Returns an empty reference, and tells the operator,
    /// if there is no place for one more; the caller closes the connection then. `address` may be
    /// empty.
    [[nodiscard]] std::shared_ptr<ConnectionAccount> Admit(Link link, const std::string& address);

    std::uint64_t Total(Resource resource) const {
        return totals[static_cast<std::size_t>(resource)];
    }
    /// Closes the connections that hold most of `resource` until all others together are within
    /// its bound. For ReceivedText, those that have waited longest for their next byte.
    void Relieve(Resource resource);
    /// How many external connections have a session.
    std::uint64_t Connections() const { return connections; }

private:
    friend class ConnectionAccount;

    /// The account to be closed next, and how much those hold that aren't closed yet.
    struct Holding {
        std::shared_ptr<ConnectionAccount> worst;
        std::uint64_t kept = 0;
    };

    Holding FindWorst(Resource resource) const;
    /// What each connection holds of shared frames, where those who hold one have equal parts.
    std::unordered_map<const ConnectionAccount*, std::uint64_t> PartsOfShared() const;
    void Forget(const ConnectionAccount& account);

    const Limits bounds;
    Notices& notices;
    Turns largeTexts;
    std::array<std::atomic<std::uint64_t>, kResourceCount> totals{};
    std::atomic<std::uint64_t> connections{0};
    std::atomic<std::uint64_t> tcpConnections{0};
    struct SharedFrame {
        std::uint64_t size = 0;
        std::vector<const ConnectionAccount*> holders;
    };
    mutable Lock sharedLock;
    std::unordered_map<const void*, SharedFrame> sharedFrames GUARDED_BY(sharedLock);
    mutable Lock lock;
    std::vector<ConnectionAccount*> accounts GUARDED_BY(lock);
};

/// An amount of one resource that is given back at the end of a scope.
class ScopedCharge {
public:
    /// `charged` may be empty, as for an internal stream: then nothing is counted or bounded.
    ScopedCharge(std::shared_ptr<ConnectionAccount> charged, Resource what)
        : account(std::move(charged)), resource(what) {}
    ~ScopedCharge() {
        if (account) {
            account->Remove(resource, amount);
        }
    }
    ScopedCharge(const ScopedCharge&) = delete;
    ScopedCharge& operator=(const ScopedCharge&) = delete;

    /// Counts `more`. Returns the bound that is exceeded then, if one is.
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
