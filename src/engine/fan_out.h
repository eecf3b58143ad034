#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/pending_records.h"
#include "engine/subscriber.h"

namespace vantry {

/// Sends the records of one publishing period to the subscribers. Subscribers that get the same
/// records share one frame, and a long record is shared by all frames. Besides the frames that
/// streams keep for their peers, only one frame exists at a time. Used by the publishing thread
/// only.
class FanOut {
public:
    explicit FanOut(std::vector<PendingRecord> pending) : records(std::move(pending)) {}

    /// Selects the records that the subscriber gets, and removes withdrawn properties from its
    /// list. The caller holds the engine's subscribersLock. Doesn't write.
    void Choose(const std::shared_ptr<Subscriber>& subscriber);
    /// Writes the selected records to each subscriber in one message. Called once. Returns the
    /// subscribers whose stream didn't accept the whole message. Returns early when `stopping`
    /// becomes true. The caller holds no lock; each write holds the send lock of its stream, and
    /// doesn't wait for the peer.
    [[nodiscard]] std::vector<std::shared_ptr<Subscriber>> Send(const std::atomic<bool>& stopping);

private:
    /// Ascending indexes into `records`.
    using Selection = std::vector<std::uint32_t>;
    using Group = std::vector<std::shared_ptr<Subscriber>>;

    /// Makes the keys, unless they are there.
    void MakeKeys();
    /// Returns records among which are all that are in the list of the subscriber.
    Selection CandidatesFor(const Subscriber& subscriber) const;
    SharedFrame FrameOf(const Selection& selection) const;
    void SendTo(const Group& group, const Selection& selection, const std::atomic<bool>& stopping,
                Group& failed) const;
    Selection AllOf(bool external) const;

    const std::vector<PendingRecord> records;
    /// The full key of each record. Empty until a subscriber has a list.
    std::vector<std::string> keys;
    /// The indexes of all records in the order of their keys.
    Selection byKey;
    /// The subscribers that get everything, by the kind of their stream.
    Group everybodyInside;
    Group everybodyOutside;
    std::map<Selection, Group> groups;
};

}  // namespace vantry
