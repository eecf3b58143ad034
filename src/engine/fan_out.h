#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "engine/external_rights.h"
#include "engine/subscriber.h"
#include "wire/message_frame.h"
#include "wire/property_records.h"

namespace vantry {

/// The records of one publishing period on their way to the subscribers.
///
/// A record becomes text once, whoever gets it, and subscribers who get the same records share one
/// frame. Belongs to the publishing thread, which holds the subscribers' lock meanwhile.
class FanOut {
public:
    /// `sharedRights` must outlive it.
    FanOut(std::deque<PropertyResponse> pending, const ExternalRights& sharedRights);

    /// Writes to the subscriber what concerns it, in one message, and forgets of its list what is
    /// gone. False if the message could not be written whole; true if there was none.
    [[nodiscard]] bool SendTo(Subscriber& subscriber);

private:
    /// Places of records, in order.
    using Selection = std::vector<std::uint32_t>;

    struct Record {
        PropertyResponse response;
        std::string key;
        bool passesOutside;
        bool isWithdrawal;
        /// Made when the first subscriber wants it.
        std::string text;
    };

    Selection Select(Subscriber& subscriber) const;
    MessageFrame& FrameOf(Selection selection);
    std::string_view TextOf(Record& record);

    std::vector<Record> records;
    std::map<Selection, MessageFrame> frames;
};

}  // namespace vantry
