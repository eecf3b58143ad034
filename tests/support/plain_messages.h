#pragma once

#include <deque>
#include <optional>
#include <string>

#include "wire/plain_reads.h"
#include "wire/plain_reports.h"
#include "wire/property_message.h"

namespace vantry::test {

/// The entries of a message with all their texts, or nothing if the message is of another kind.
using Entries = std::optional<std::deque<std::string>>;

inline Entries PlainReadsOf(const std::string& text) {
    const PlainReads reads(text);
    std::deque<std::string> entries;
    for (const auto& [component, guids] : reads.Entries()) {
        entries.push_back(FullKey(component, guids.groupGuid, guids.guid));
    }
    return entries.empty() ? Entries() : entries;
}

inline Entries PlainReportsOf(const std::string& text) {
    std::deque<std::string> entries;
    for (PlainReports reports(text); reports.HasNext();) {
        AppendRecord(entries.emplace_back(), reports.Next());
    }
    return entries.empty() ? Entries() : entries;
}

/// Returns the entries that the parser finds, or nothing if the message does anything else too.
inline Entries ParsedReads(const PropertyMessage& message) {
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

inline Entries ParsedReports(const PropertyMessage& message) {
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
inline std::string DifferenceToTheTree(const std::string& text) {
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

}  // namespace vantry::test
