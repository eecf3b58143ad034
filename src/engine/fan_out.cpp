// A fan-out has two steps. Choose runs with the lock of the subscribers held: it selects the
// records of each subscriber, and groups subscribers with the same selection. Send runs without
// that lock: it makes the frame of each selection, writes it to every subscriber of the group, with
// the send lock of one stream held at a time, and releases the frame before it makes the next one.
// So a selection costs one frame, however many subscribers share it.

#include "engine/fan_out.h"

#include <utility>

#include "engine/external_rights.h"
#include "wire/key/key_text.h"
#include "wire/message_frame.h"
#include "wire/section_keys.h"

namespace vantry {

void FanOut::Choose(const std::shared_ptr<Subscriber>& subscriber) {
    const bool external = IsExternalStream(subscriber->Peer());
    if (subscriber->WantsEverything()) {
        (external ? everybodyOutside : everybodyInside).push_back(subscriber);
        return;
    }
    Selection selection;
    for (std::uint32_t place = 0; place < records.size(); ++place) {
        const PendingRecord& record = records[place];
        const KeyText key{record.component, record.property->GroupGuid(), record.property->Guid()};
        // A subscriber whose list becomes empty by a withdrawal gets everything, but only from the
        // next fan-out on.
        if (!subscriber->HasEntry(key.View())) {
            continue;
        }
        if (record.isWithdrawal) {
            subscriber->RemoveEntry(key.View());
        }
        if (!external || record.passesOutside) {
            selection.push_back(place);
        }
    }
    if (!selection.empty()) {
        groups[std::move(selection)].push_back(subscriber);
    }
}

std::vector<std::shared_ptr<Subscriber>> FanOut::Send(const std::atomic<bool>& stopping) const {
    Group failed;
    if (!everybodyInside.empty()) {
        SendTo(everybodyInside, AllOf(false), stopping, failed);
    }
    if (!everybodyOutside.empty()) {
        SendTo(everybodyOutside, AllOf(true), stopping, failed);
    }
    for (const auto& [selection, group] : groups) {
        SendTo(group, selection, stopping, failed);
    }
    return failed;
}

FanOut::Selection FanOut::AllOf(bool external) const {
    Selection selection;
    for (std::uint32_t place = 0; place < records.size(); ++place) {
        if (!external || records[place].passesOutside) {
            selection.push_back(place);
        }
    }
    return selection;
}

void FanOut::SendTo(const Group& group, const Selection& selection,
                    const std::atomic<bool>& stopping, Group& failed) const {
    if (selection.empty()) {
        return;
    }
    const SharedFrame frame = FrameOf(selection);
    for (const std::shared_ptr<Subscriber>& subscriber : group) {
        if (stopping) {
            return;
        }
        if (!subscriber->Send(frame)) {
            failed.push_back(subscriber);
        }
    }
}

SharedFrame FanOut::FrameOf(const Selection& selection) const {
    std::size_t size = 64;
    for (const std::uint32_t place : selection) {
        size += MessageFrame::CopiedBytes(*records[place].text) + 1;
    }
    MessageFrame frame(size);
    frame.Buffer().append("{\"").append(Section::kGetResponses).append("\": [");
    for (const std::uint32_t place : selection) {
        frame.Append(records[place].text);
        frame.Buffer().push_back(',');
    }
    frame.Buffer().back() = ']';
    frame.Buffer().push_back('}');
    return frame.Share();
}

}  // namespace vantry
