#include "engine/report_rights.h"

#include <algorithm>
#include <utility>

#include "wire/json/byte_block.h"
#include "wire/json/json_escapes.h"
#include "wire/key/key_text.h"

namespace vantry {
namespace {

/// Returns whether the text has no byte that IsSafeBetweenQuotes has to look at closely. May return
/// false for a short text.
bool IsPlain(std::string_view text) {
    constexpr auto kBytes = static_cast<std::size_t>(ByteBlock::kBytes);
    if (text.size() < kBytes) {
        return false;
    }
    const auto isPlainAt = [&](std::size_t place) {
        const ByteBlock block(text.data() + place);
        return (block.Find('"') | block.Find('\\') | block.FindControls()) == 0;
    };
    const std::size_t last = text.size() - kBytes;
    for (std::size_t place = 0; place < last; place += kBytes) {
        if (!isPlainAt(place)) {
            return false;
        }
    }
    return isPlainAt(last);
}

}  // namespace

ReportRights::ReportRights(const HubSettings& hubSettings, std::string hubComponent)
    : settings(hubSettings), ownComponent(std::move(hubComponent)) {}

bool ReportRights::IsSafe(const RecordView& report) {
    // The hub sends all of these texts unescaped, so a text that ends its string early could add a
    // section to the messages that internal components receive.
    const auto texts = {report.component,   report.componentString, report.guid,  report.groupGuid,
                        report.groupString, report.nameString,      report.status};
    return std::all_of(texts.begin(), texts.end(), IsSafeBetweenQuotes);
}

bool ReportRights::Admits(const RecordView& report) const {
    if (settings.externalReports == ExternalReports::None) {
        return false;
    }
    return settings.externalReports == ExternalReports::Any ||
           (report.component != ownComponent &&
            !claimed.contains(KeyText{report.component, report.groupGuid, report.guid}.View()));
}

void ReportRights::Claim(const RecordView& report) {
    if (settings.externalReports == ExternalReports::Own) {
        const KeyText key{report.component, report.groupGuid, report.guid};
        if (!claimed.contains(key.View())) {
            claimed.emplace(key.View());
        }
    }
}

bool IsSafeBetweenQuotes(std::string_view text) {
    if (IsPlain(text)) {
        return true;
    }
    constexpr unsigned char kFirstPrintable = 0x20;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        if (*at == '"' || static_cast<unsigned char>(*at) < kFirstPrintable) {
            return false;
        }
        const std::size_t length = *at == '\\' ? EscapeLength(at, end) : 1;
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

}  // namespace vantry
