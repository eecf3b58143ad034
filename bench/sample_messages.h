#pragma once

#include <deque>
#include <string>

#include "wire/json/json_writer.h"
#include "wire/property_message.h"

namespace vantry::bench {

/// Returns the text of the message without the head of its frame.
inline std::string TextOf(const JsonMessage& message) {
    MessageFrame frame = message.ToFrame();
    return frame.Buffer().substr(20);
}

inline std::string SmallRequest() {
    PropertyMessage message;
    message.EncodeGetRequests(
        {{"955CFDC2-8EA6-478E-A927-7C870022EA03", "99A61D40-20CE-41EA-A579-EB92C6ED94C6",
          "DA821DC5-948D-4659-9B52-177E4C102129"}});
    return TextOf(message);
}

inline PropertyResponse SampleResponse(int number) {
    std::string guid = "354B1CD8-5E87-4F75-87E1-FD4C28FC0000";
    const std::string digits = std::to_string(number);
    guid.replace(guid.size() - digits.size(), digits.size(), digits);
    return {.groupGuid = "41B87577-BD88-48CE-BF21-BF5A6BFC9FE3",
            .groupString = "Substrate Printer Properties",
            .guid = guid,
            .nameString = "Substrate Remaining Percent " + digits,
            .value = std::to_string(number * 37),
            .status = "Successful",
            .component = "B80EB2EA-4F49-423A-875C-8ACB1ACB9734",
            .componentString = "Firmware Driver"};
}

inline std::string Answer(int records) {
    std::deque<PropertyResponse> responses;
    for (int number = 0; number < records; ++number) {
        responses.push_back(SampleResponse(number));
    }
    PropertyMessage message;
    message.EncodeGetResponses(std::move(responses));
    return TextOf(message);
}

}  // namespace vantry::bench
