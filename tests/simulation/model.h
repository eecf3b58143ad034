#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
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
    std::uint64_t sent;
    std::uint64_t certain;
    /// The least that the file has after a power cut or a kill.
    std::uint64_t onDisk;
    /// The least that the copy has which the hub makes when it starts.
    std::uint64_t inBackup;
};

/// How the protocol and the property file name a saved property.
struct SavedName {
    const char* guids;
    const char* name;
};
inline constexpr std::size_t kSavedCount = 2;
/// The ones that the simulation sets: a number, and a text that the hub doesn't use.
inline constexpr std::array<SavedName, kSavedCount> kSavedNames = {
    {{"99A61D40-20CE-41EA-A579-EB92C6ED94C6:89AA005C-DF51-4D79-87DE-DAFCD8E559CC",
      "UsbPrnTxTimeout"},
     {"99A61D40-20CE-41EA-A579-EB92C6ED94C6:C8B8886D-A101-47A9-BC60-477938C53648",
      "Name of Property Override File"}}};

/// Returns the members of an entry that name a saved property.
std::string SavedEntry(std::size_t place);
/// Returns the value that has this count. It is longer than the one before, or shorter.
std::string SavedText(std::uint64_t count);
/// Returns the count of a value, or 0 if it has none, as the one that the hub begins with.
std::uint64_t CountIn(std::string_view value);

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

    std::array<Saved, kSavedCount> saved{};

private:
    const Known* Find(const Entry& record) const;
    std::uint64_t Value(const Peer& peer, const Entry& record, const Known& property);

    World& world;
    const Hardship hardship;
    std::vector<std::unique_ptr<Known>> properties;
};

/// How long the hub may take until everybody has heard everything.
inline constexpr std::uint64_t kQuietNanoseconds = 6'000'000'000;

/// The components whose names begin so are those of hostile peers.
inline constexpr char kHostile[] = "HOSTILE";

}  // namespace vantry::simulation
