#include "wire/plain_reads.h"

#include <gtest/gtest.h>

#include <deque>

#include "wire/property_message.h"

namespace vantry {
namespace {

constexpr std::string_view kUsual =
    R"({"PropertyGetRequests": [{"Component": "C","GUID": "G:1"},{"Component": "","GUID": "x"}]})";

/// Says what is wrong if the text is taken for a plain read and means something else when parsed.
std::string DifferenceToTheTree(const std::string& text) {
    const PlainReads reads(text);
    if (reads.Entries().empty()) {
        return "";
    }
    PropertyMessage parsed;
    std::string_view failure;
    if (!parsed.ReadText(text, failure)) {
        return "the parser refuses it";
    }
    const RequestSections sections = parsed.Sections();
    if (sections.Subscribe() || sections.WantEverything() || sections.setRequests != nullptr ||
        sections.getResponses != nullptr || sections.disconnect != nullptr) {
        return "it has other sections";
    }
    std::deque<PropertyRequest> wanted;
    parsed.DecodeGetRequests(wanted);
    std::deque<PropertyRequest> read;
    for (const auto& [component, guids] : reads.Entries()) {
        read.push_back(
            {std::string(component), std::string(guids.groupGuid), std::string(guids.guid)});
    }
    return read == wanted ? "" : "its entries are others";
}

TEST(PlainReads, RecognisesWhatClientsWriteAndLeavesTheRestToTheParser) {
    const std::string entry = R"({"Component":"C","GUID":"G:1"})";
    const auto list = [&](std::size_t count) {
        std::string text = R"({"PropertyGetRequests":[)" + entry;
        for (std::size_t more = 1; more < count; ++more) {
            text += "," + entry;
        }
        return text + "]}";
    };
    const std::vector<std::pair<std::string, std::size_t>> texts = {
        {std::string(kUsual), 2},
        {R"( { "PropertyGetRequests" : [ { "Component" : "C" , "GUID" : "G" } ] } )", 1},
        {list(1), 1},
        {list(8), 8},
        {list(9), 0},
        {R"({"PropertyGetRequests": [{"GUID": "G:1","Component": "C"}]})", 0},
        {R"({"PropertyGetRequests": [{"Component": "\u0043","GUID": "G:1"}]})", 0},
        {R"({"PropertyGetRequests": []})", 0},
        {R"({"PropertyGetRequests": [{"Component": "C","GUID": "G:1"}],"Disconnect": true})", 0},
        {R"({"PropertySubscribeRequests": [{"Component": "C","GUID": "G:1"}]})", 0},
    };
    for (const auto& [text, entries] : texts) {
        EXPECT_EQ(PlainReads(text).Entries().size(), entries) << text;
        EXPECT_EQ(DifferenceToTheTree(text), "") << text;
    }
}

TEST(PlainReads, NoDamagedTextIsUnderstoodInAnotherWayThanByTheParser) {
    constexpr std::string_view kBytes("\"\\{}[],: x'\n\0", 13);
    for (std::size_t place = 0; place <= kUsual.size(); ++place) {
        for (const char byte : kBytes) {
            std::string replaced(kUsual);
            std::string inserted(kUsual);
            inserted.insert(place, 1, byte);
            EXPECT_EQ(DifferenceToTheTree(inserted), "") << inserted;
            if (place != kUsual.size()) {
                replaced[place] = byte;
                EXPECT_EQ(DifferenceToTheTree(replaced), "") << replaced;
            }
        }
        EXPECT_EQ(DifferenceToTheTree(std::string(kUsual.substr(0, place))), "");
    }
}

}  // namespace
}  // namespace vantry
