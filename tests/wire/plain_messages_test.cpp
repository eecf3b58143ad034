#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <optional>

#include "wire/plain_reads.h"
#include "wire/plain_reports.h"
#include "wire/property_message.h"

namespace vantry {
namespace {

constexpr std::string_view kRead =
    R"({"PropertyGetRequests": [{"Component": "C","GUID": "G:1"},{"Component": "","GUID": "x"}]})";
constexpr std::string_view kReport =
    R"({"PropertyGetResponses": [{"Component": "C","ComponentString": "c","GUID": "G:1",)"
    R"("GroupString": "g","NameString": "n","Status": "Successful","Value": "5"},)"
    R"({"Component": "","ComponentString": "","GUID": "x","GroupString": "","NameString": "",)"
    R"("Status": "","Value": ""}]})";

/// Returns the entries with all their texts, or nothing if the message isn't plain.
using Entries = std::optional<std::deque<std::string>>;

Entries PlainReadsOf(const std::string& text) {
    const PlainReads reads(text);
    std::deque<std::string> entries;
    for (const auto& [component, guids] : reads.Entries()) {
        entries.push_back(FullKey(component, guids.groupGuid, guids.guid));
    }
    return entries.empty() ? Entries() : entries;
}

Entries PlainReportsOf(const std::string& text) {
    std::deque<std::string> entries;
    for (PlainReports reports(text); reports.HasNext();) {
        AppendRecord(entries.emplace_back(), reports.Next());
    }
    return entries.empty() ? Entries() : entries;
}

/// Returns the entries that the parser finds, or nothing if the message does anything else too.
Entries ParsedReads(const PropertyMessage& message) {
    const RequestSections sections = message.Sections();
    if (sections.Subscribe() || sections.WantEverything() || sections.getResponses != nullptr) {
        return std::nullopt;
    }
    std::deque<PropertyRequest> wanted;
    message.DecodeGetRequests(wanted);
    Entries entries(std::in_place);
    for (const PropertyRequest& entry : wanted) {
        entries->push_back(FullKey(entry.component, entry.groupGuid, entry.guid));
    }
    return entries;
}

Entries ParsedReports(const PropertyMessage& message) {
    const RequestSections sections = message.Sections();
    if (sections.Subscribe() || sections.Read()) {
        return std::nullopt;
    }
    std::deque<PropertyResponse> reported;
    message.DecodeGetResponses(reported);
    Entries entries(std::in_place);
    for (const PropertyResponse& entry : reported) {
        AppendRecord(entries->emplace_back(),
                     {entry.component, entry.componentString, entry.groupGuid, entry.guid,
                      entry.groupString, entry.nameString, entry.status, entry.value});
    }
    return entries;
}

/// Says what is wrong if the text is taken for a plain message and means something else when
/// parsed.
std::string DifferenceToTheTree(const std::string& text) {
    const Entries reads = PlainReadsOf(text);
    const Entries reports = PlainReportsOf(text);
    if (!reads && !reports) {
        return "";
    }
    PropertyMessage parsed;
    std::string_view failure;
    if (!parsed.ReadText(text, failure)) {
        return "the parser refuses it";
    }
    const RequestSections sections = parsed.Sections();
    if (sections.setRequests != nullptr || sections.disconnect != nullptr || (reads && reports)) {
        return "it has other sections";
    }
    return (reads ? reads == ParsedReads(parsed) : reports == ParsedReports(parsed))
               ? ""
               : "its entries are others";
}

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
        {R"({"PropertyGetResponses":[{"Component":"C","GUID":"G:1","Value":"v"}]})", 0},
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
