#include <gtest/gtest.h>

#include "support/plain_messages.h"

namespace vantry {
namespace {

using namespace test;

constexpr std::string_view kRead =
    R"({"PropertyGetRequests": [{"Component": "C","GUID": "G:1"},{"Component": "","GUID": "x"}]})";
constexpr std::string_view kReport =
    R"({"PropertyGetResponses": [{"Component": "C","ComponentString": "c","GUID": "G:1",)"
    R"("GroupString": "g","NameString": "n","Status": "Successful","Value": "5"},)"
    R"({"Component": "","ComponentString": "","GUID": "x","GroupString": "","NameString": "",)"
    R"("Status": "","Value": ""}]})";

std::string ListOf(std::size_t count, std::string text, const std::string& entry) {
    for (std::size_t place = 0; place < count; ++place) {
        text += (place == 0 ? "" : ",") + entry;
    }
    return text + "]}";
}

TEST(PlainMessages, AreWhatProgramsWriteAndTheRestIsLeftToTheParser) {
    const std::string entry = R"({"Component":"C","GUID":"G:1"})";
    const std::string record = R"({"Component":"C","ComponentString":"c","GUID":"G:1",)"
                               R"("GroupString":"g","NameString":"n","Status":"s","Value":"v"})";
    const auto reads = [&](std::size_t count) {
        return ListOf(count, R"({"PropertyGetRequests":[)", entry);
    };
    const auto reports = [&](std::size_t count) {
        return ListOf(count, R"({"PropertyGetResponses":[)", record);
    };
    const std::vector<std::pair<std::string, std::size_t>> texts = {
        {std::string(kRead), 2},
        {R"( { "PropertyGetRequests" : [ { "Component" : "C" , "GUID" : "G" } ] } )", 1},
        {reads(1), 1},
        {reads(8), 8},
        {reads(9), 0},
        {R"({"PropertyGetRequests": [{"GUID": "G:1","Component": "C"}]})", 0},
        {R"({"PropertyGetRequests": [{"Component": "\u0043","GUID": "G:1"}]})", 0},
        {R"({"PropertyGetRequests": []})", 0},
        {R"({"PropertyGetRequests": [{"Component": "C","GUID": "G:1"}],"Disconnect": true})", 0},
        {R"({"PropertySubscribeRequests": [{"Component": "C","GUID": "G:1"}]})", 0},
        {std::string(kReport), 2},
        {reports(1), 1},
        {reports(1000), 1000},
        {R"({"PropertyGetResponses":[]})", 0},
        {R"({"PropertyGetResponses":[{"Component":"C","GUID":"G:1","Value":"v"}]})", 1},
        {R"({"PropertyGetResponses":[{"Component":"C","Value":"v","GUID":"G:1"}]})", 0},
        {R"({"PropertyGetResponses":[{"Component":"C","Value":"v","Value":"w"}]})", 0},
        {R"({"PropertyGetResponses":[{"Component":"C","Value":5}]})", 0},
        {R"({"PropertyGetResponses":[{}]})", 0},
        {reports(2) + ",", 0},
        {ListOf(1, R"({"Disconnect": true,"PropertyGetResponses":[)", record), 0},
    };
    for (const auto& [text, count] : texts) {
        const Entries found = PlainReadsOf(text) ? PlainReadsOf(text) : PlainReportsOf(text);
        EXPECT_EQ(found ? found->size() : 0, count) << text;
        EXPECT_EQ(DifferenceToTheTree(text), "") << text;
    }
}

class PlainMessage : public testing::TestWithParam<std::string_view> {};

TEST_P(PlainMessage, IsNeverUnderstoodInAnotherWayThanByTheParserIfDamaged) {
    constexpr std::string_view kBytes("\"\\{}[],: x'\n\0\xFF", 14);
    const std::string_view whole = GetParam();
    for (std::size_t place = 0; place <= whole.size(); ++place) {
        for (const char byte : kBytes) {
            std::string replaced(whole);
            std::string inserted(whole);
            inserted.insert(place, 1, byte);
            EXPECT_EQ(DifferenceToTheTree(inserted), "") << inserted;
            if (place != whole.size()) {
                replaced[place] = byte;
                EXPECT_EQ(DifferenceToTheTree(replaced), "") << replaced;
            }
        }
        EXPECT_EQ(DifferenceToTheTree(std::string(whole.substr(0, place))), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, PlainMessage, testing::Values(kRead, kReport),
                         [](const auto& info) { return info.index == 0 ? "Read" : "Report"; });

}  // namespace
}  // namespace vantry
