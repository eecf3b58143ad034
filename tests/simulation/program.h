#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "programs.h"

namespace vantry::simulation {

/// What every program has: its peer, random numbers, and what it has seen.
struct Program {
    Program(Round& shared, std::shared_ptr<Peer> connected, std::uint32_t place);

    /// Sometimes waits for a while.
    void Pause();
    std::vector<const Known*> SomeProperties();
    /// Returns a message that has a request for each property.
    static std::string Requests(const char* section, const std::vector<const Known*>& asked);
    /// Returns whether the hub may end the connection.
    bool MayEnd() const { return round.hubEnds || mayFallBehind || model.MayBeCut(*peer); }

    /// Returns the next answer, and passes forwarded writes to the model meanwhile. Returns nothing
    /// if the hub has ended the connection, or never took it.
    std::optional<ReceivedText> Answer();
    /// Asks for properties and checks the answer. Returns false if the connection has ended.
    bool Ask(const std::vector<const Known*>& asked, bool everything);

    Round& round;
    World& world;
    Model& model;
    const std::shared_ptr<Peer> peer;
    const std::uint32_t number;
    Random random;
    /// Whether the hub may write more than it keeps for the peer.
    bool mayFallBehind = false;
    Seen seen;
};

/// Reports values of its own properties and reads them back.
void RunComponent(Program& program);
/// Subscribes, and hears what is published until the end.
void RunSubscriber(Program& program);
/// Asks for much and reads nothing. The hub has to end the connection.
void RunStalled(Program& program);
/// Asks for everything many times at once and reads all the time.
void RunGreedy(Program& program);
/// Sends what no client sends.
void RunHostile(Program& program);

}  // namespace vantry::simulation
