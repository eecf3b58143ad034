#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <vector>

#include "engine/pending_records.h"
#include "engine/subscriber.h"

namespace vantry {

/// The records of one publishing period on their way to the subscribers. Subscribers who get the
/// same records share one frame, and only one frame exists at a time, beside those that streams
/// keep for their peers. Belongs to the publishing thread.
class FanOut {
public:
    explicit FanOut(std::deque<PendingRecord> pending) : records(std::move(pending)) {}

    /// Chooses what concerns the subscriber, and forgets of its list what is gone. The caller holds
    /// the lock of the lists.
    void Choose(const std::shared_ptr<Subscriber>& subscriber);
    /// Writes to each subscriber what was chosen for it, in one message. Returns those whose stream
    /// couldn't take it. Ends early when `stopping` becomes true.
    std::vector<std::shared_ptr<Subscriber>> Send(const std::atomic<bool>& stopping) const;

private:
    /// Places of records, in order.
    using Selection = std::vector<std::uint32_t>;
    using Group = std::vector<std::shared_ptr<Subscriber>>;

    std::shared_ptr<const std::string> FrameOf(const Selection& selection) const;
    void SendTo(const Group& group, const Selection& selection, const std::atomic<bool>& stopping,
                Group& failed) const;
    Selection AllOf(bool external) const;

    const std::deque<PendingRecord> records;
    /// Who wants everything, inside and outside the printer.
    Group everybodyInside;
    Group everybodyOutside;
    std::map<Selection, Group> groups;
};

}  // namespace vantry
