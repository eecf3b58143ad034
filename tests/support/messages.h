#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "transport/frame/frame.h"
#include "wire/vocabulary/components.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry::test {

// The texts of messages as peers write them.

/// The GUIDs by which a message identifies a property.
struct Address {
    std::string component;
    std::string groupGuid;
    std::string guid;

    std::string Entry(const std::string& more = "") const {
        return R"({"Component": ")" + component + R"(","GUID": ")" + groupGuid + ":" + guid + "\"" +
               more + "}";
    }
};

inline Address HubProperty(const NamedGuid& property, const NamedGuid& group) {
    return {std::string(Components::kVantry.guid), std::string(group.guid),
            std::string(property.guid)};
}

inline Address PublishingPeriod() {
    return HubProperty(HubProperties::kPublishingPeriod, Groups::kGeneral);
}

inline std::string Section(const std::string& key, const std::vector<std::string>& entries) {
    std::string text = "{\"" + key + "\": [";
    for (std::size_t place = 0; place < entries.size(); ++place) {
        text += (place == 0 ? "" : ",") + entries[place];
    }
    return text + "]}";
}

/// Returns a section of so many entries, each of which `entry` makes from its number.
template <typename Entry>
std::string Many(const std::string& key, std::size_t count, const Entry& entry) {
    std::vector<std::string> entries;
    for (std::size_t number = 0; number < count; ++number) {
        entries.push_back(entry(number));
    }
    return Section(key, entries);
}

/// Returns a request whose answer has about 187 bytes for each of so many unknown properties.
inline std::string ManyReads(std::size_t count) {
    return Many("PropertyGetRequests", count, [](std::size_t) { return R"({"GUID":"a:b"})"; });
}

inline std::string Get(const Address& what) {
    return Section("PropertyGetRequests", {what.Entry()});
}
inline std::string Subscribe(const Address& what) {
    return Section("PropertySubscribeRequests", {what.Entry()});
}
inline std::string Set(const Address& what, const std::string& value) {
    return Section("PropertySetRequests", {what.Entry(R"(,"Value": ")" + value + "\"")});
}

/// Returns the record that a component sends for a property of its own.
inline std::string ReportEntry(const Address& what, const std::string& value,
                               const std::string& status = "Successful") {
    return R"({"Component": ")" + what.component + R"(","ComponentString": "Sim","GUID": ")" +
           what.groupGuid + ":" + what.guid +
           R"(","GroupString": "Sim Group","NameString": "Sim Name","Status": ")" + status +
           R"(","Value": ")" + value + "\"}";
}
inline std::string Report(const Address& what, const std::string& value,
                          const std::string& status = "Successful") {
    return Section("PropertyGetResponses", {ReportEntry(what, value, status)});
}

inline constexpr char kSubscribeAll[] = R"({"SubscribeAllCurrentAndNewProperties": true})";
inline constexpr char kGetAll[] = R"({"GetAllProperties": true})";

inline std::string FrameOf(std::string_view text) {
    std::string frame(MessageFrameMagic.begin(), MessageFrameMagic.end());
    for (int shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<char>(text.size() >> shift & 0xFF));
    }
    return frame.append(text);
}

/// Returns the first value in a message.
inline std::string ValueIn(const std::string& message) {
    const std::size_t start = message.find("\"Value\": \"") + 10;
    return message.substr(start, message.find('"', start) - start);
}

/// How many properties a hub has that nobody has announced anything to.
inline constexpr std::size_t kHubProperties = 35;

inline std::size_t Count(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

}  // namespace vantry::test
