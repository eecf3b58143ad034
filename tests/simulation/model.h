#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hardship.h"
#include "received_text.h"
#include "simulation/peer.h"

namespace vantry::simulation {

/// What is known of a component's property. Its values count up from 1, so that of two of them one
/// knows which came first.
struct Known {
    std::string component;
    std::string group;
    std::string guid;
    bool isPublic = false;
    /// The last value that may have reached the hub, and the last that surely has.
    std::uint64_t sent = 0;
    std::uint64_t certain = 0;
    /// When it was last sent, withdrawn or announced as certain.
    std::uint64_t changedAt = 0;
    /// Whether it may be missing, since it is being withdrawn or wasn't announced for certain.
    bool mayBeMissing = true;
    bool mayBeWithdrawn = false;
    /// Whether the hub may drop it at any moment, since it may cut the owner.
    bool mayVanish = false;
    /// The owner that writes are forwarded to, while its connection lasts.
    const Peer* owner = nullptr;
    /// For each writer, the last value that it sent and the last that the owner received.
    std::map<std::uint64_t, std::uint64_t> written;
    std::map<std::uint64_t, std::uint64_t> forwarded;

    std::string Request() const;
    std::string Record(std::uint64_t value, bool withdrawal = false) const;
};

/// A saved property of the hub: only one writer sets it, to values that count up.
struct Saved {
    std::uint64_t sent = 0;
    std::uint64_t certain = 0;
    /// The least that the file has after a power cut or a kill.
    std::uint64_t onDisk = 0;
    /// The least that the copy has which the hub makes when it starts.
    std::uint64_t inBackup = 0;
};

/// What a peer has seen of each property, for the order of what it sees.
struct Seen {
    std::map<const Known*, std::uint64_t> replied;
    std::map<const Known*, std::uint64_t> published;
    /// What the last record of a property said; 0 after a withdrawal.
    std::map<const Known*, std::uint64_t> last;
};

/// What the protocol allows: the model of the hub, made from docs/PROTOCOL.md. A text that it
/// doesn't allow fails the run.
class Model {
public:
    Model(World& machine, Hardship machineLacks) : world(machine), hardship(machineLacks) {}

    Known& Announce(const std::string& component, bool isPublic, const Peer* owner);
    const std::vector<std::unique_ptr<Known>>& Properties() const { return properties; }

    /// Takes a text apart.
    ReceivedText Read(const Peer& peer, const std::string& text);
    /// Checks an answer to a request for `asked`, or for everything. `atLeast` has what was certain
    /// when the request was sent.
    void CheckAnswer(const Peer& peer, const ReceivedText& text,
                     const std::vector<const Known*>& asked, bool everything,
                     const std::map<const Known*, std::uint64_t>& atLeast, Seen& seen);
    void CheckPublication(const Peer& peer, const ReceivedText& text, Seen& seen);
    void CheckForwarded(const Peer& peer, const ReceivedText& text);
    /// Checks that the last records of a subscriber say what is so, of the properties that haven't
    /// changed since then.
    void CheckLast(const Peer& peer, const std::vector<const Known*>& subscribed, const Seen& seen,
                   std::uint64_t since);

    /// Returns what is certain of each property.
    std::map<const Known*, std::uint64_t> Certain() const;
    bool MaySee(const Peer& peer, const Known& property) const {
        return property.isPublic || !peer.IsExternal();
    }

    /// Returns whether the hub may end the peer's connection.
    bool MayBeCut(const Peer& peer) const {
        return simulation::MayBeCut(hardship, peer.IsExternal());
    }

    Saved saved;

private:
    const Known* Find(const Entry& record) const;
    std::uint64_t Value(const Peer& peer, const Entry& record, const Known& property);

    World& world;
    const Hardship hardship;
    std::vector<std::unique_ptr<Known>> properties;
};

/// How long the hub may take until everybody has heard everything.
inline constexpr std::uint64_t kQuietNanoseconds = 6'000'000'000;

/// The hub's saved property that the simulation sets.
inline constexpr char kSavedEntry[] =
    R"("Component": "955CFDC2-8EA6-478E-A927-7C870022EA03",)"
    R"("GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:89AA005C-DF51-4D79-87DE-DAFCD8E559CC")";
/// Its values are this and a count.
inline constexpr std::uint64_t kSavedBase = 35'000;
/// The components whose names begin so are those of hostile peers.
inline constexpr char kHostile[] = "HOSTILE";

}  // namespace vantry::simulation
