// A fan-out has two steps. Choose runs with the lock of the subscribers held: it selects the
// records of each subscriber, and groups subscribers with the same selection. Send runs without
// that lock: it makes the frame of each selection, writes it to every subscriber of the group, with
// the send lock of one stream held at a time, and releases the frame before it makes the next one.
// So a selection costs one frame, however many subscribers share it.
//
// A period can have ten thousands of records, and there can be hundreds of subscribers that list a
// few properties each. The key of a record is made once, and a subscriber costs a look-up for each
// record or for each entry of its list, whichever are fewer. The lists of all external subscribers
// together have a bound.

#include "engine/fan_out.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "engine/external_rights.h"
#include "wire/key/property_key.h"
#include "wire/message_frame.h"
#include "wire/section_keys.h"

namespace vantry {

void FanOut::Choose(const std::shared_ptr<Subscriber>& subscriber) {
    const bool external = IsExternalStream(subscriber->Peer());
    if (subscriber->WantsEverything()) {
        (external ? everybodyOutside : everybodyInside).push_back(subscriber);
        return;
    }
    MakeKeys();
    Selection selection;
    for (const std::uint32_t place : CandidatesFor(*subscriber)) {
        // A subscriber whose list becomes empty by a withdrawal gets everything, but only from the
        // next fan-out on.
        if (!subscriber->HasEntry(keys[place])) {
            continue;
        }
        if (records[place].isWithdrawal) {
            subscriber->RemoveEntry(keys[place]);
        }
        if (!external || records[place].passesOutside) {
            selection.push_back(place);
        }
    }
    if (!selection.empty()) {
        groups[std::move(selection)].push_back(subscriber);
    }
}

void FanOut::MakeKeys() {
    if (!keys.empty()) {
        return;
    }
    keys.reserve(records.size());
    for (const PendingRecord& record : records) {
        keys.push_back(
            FullKey(record.component, record.property->GroupGuid(), record.property->Guid()));
    }
    byKey.resize(keys.size());
    std::iota(byKey.begin(), byKey.end(), 0);
    std::sort(byKey.begin(), byKey.end(),
              [&](std::uint32_t one, std::uint32_t other) { return keys[one] < keys[other]; });
}

FanOut::Selection FanOut::CandidatesFor(const Subscriber& subscriber) const {
    Selection found;
    if (subscriber.DifferentEntries() >= records.size()) {
        found.resize(records.size());
        std::iota(found.begin(), found.end(), 0);
        return found;
    }
    struct Before {
        const std::vector<std::string>& keys;
        bool operator()(std::uint32_t place, std::string_view key) const {
            return keys[place] < key;
        }
        bool operator()(std::string_view key, std::uint32_t place) const {
            return key < keys[place];
        }
    };
    subscriber.ForEachKey([&](std::string_view key) {
        const auto [first, last] =
            std::equal_range(byKey.begin(), byKey.end(), key, Before{.keys = keys});
        found.insert(found.end(), first, last);
    });
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::shared_ptr<Subscriber>> FanOut::Send(const std::atomic<bool>& stopping) {
    // The keys may take as much memory as a frame.
    keys = {};
    byKey = {};
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
