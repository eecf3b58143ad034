#include "engine/fan_out.h"

#include <utility>

#include "wire/json/json_writer.h"
#include "wire/property_message.h"
#include "wire/section_keys.h"

namespace vantry {

FanOut::FanOut(std::deque<PropertyResponse> pending, const ExternalRights& sharedRights) {
    records.reserve(pending.size());
    for (PropertyResponse& response : pending) {
        std::string key = FullKey(response.component, response.groupGuid, response.guid);
        const bool passes = sharedRights.Pass(response);
        const bool isWithdrawal = response.status == Status::kNoLongerAvailable;
        records.push_back({std::move(response), std::move(key), passes, isWithdrawal, {}});
    }
}

bool FanOut::SendTo(Subscriber& subscriber) {
    Selection selection = Select(subscriber);
    if (selection.empty()) {
        return true;
    }
    MessageFrame& frame = FrameOf(std::move(selection));
    ScopedLock guard(subscriber.SendLock());
    return frame.WriteTo(subscriber.Peer());
}

FanOut::Selection FanOut::Select(Subscriber& subscriber) const {
    Selection selection;
    const bool external = IsExternalStream(subscriber.Peer());
    const bool everything = subscriber.WantsEverything();
    for (std::uint32_t place = 0; place < records.size(); ++place) {
        const Record& record = records[place];
        if (!everything) {
            if (!subscriber.Lists(record.key)) {
                continue;
            }
            if (record.isWithdrawal) {
                subscriber.Forget(record.key);
            }
        }
        if (!external || record.passesOutside) {
            selection.push_back(place);
        }
    }
    return selection;
}

MessageFrame& FanOut::FrameOf(Selection selection) {
    const auto [entry, isNew] = frames.try_emplace(std::move(selection));
    MessageFrame& frame = entry->second;
    if (isNew) {
        std::string& text = frame.Buffer();
        text.append("{\"").append(Section::kGetResponses).append("\": [");
        for (const std::uint32_t place : entry->first) {
            text.append(TextOf(records[place])).push_back(',');
        }
        text.back() = ']';
        text.push_back('}');
    }
    return frame;
}

std::string_view FanOut::TextOf(Record& record) {
    if (record.text.empty()) {
        const JsonObject entry = MakeResponseEntry(std::move(record.response));
        ScopedLock guard(JsonDocumentLock);
        WriteJsonObject(record.text, entry);
    }
    return record.text;
}

}  // namespace vantry
