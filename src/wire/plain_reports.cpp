// Reports without a tree.
//
// Components report all their properties when they connect, and each change afterwards. Programs
// write the fields of a record in the order of the hub's own records, and some leave out names that
// the hub knows. Such a text is first looked through to its end, so that a text with a mistake has
// no effect, and then taken apart record by record, without memory, however many there are. Any
// doubt is left to the parser, as for reads (plain_reads.cpp). So this accepts only texts that the
// parser would accept too, with the same records.

#include "wire/plain_reports.h"

#include <array>

#include "wire/key/property_key.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

struct RecordField {
    std::string_view key;
    std::string_view RecordView::*place;
};

/// The fields in their usual order. The composite GUID is stored as the GUID.
constexpr std::array<RecordField, 7> kFields{
    {{Field::kComponent, &RecordView::component},
     {Field::kComponentString, &RecordView::componentString},
     {Field::kGuid, &RecordView::guid},
     {Field::kGroupString, &RecordView::groupString},
     {Field::kNameString, &RecordView::nameString},
     {Field::kStatus, &RecordView::status},
     {Field::kValue, &RecordView::value}}};

/// Takes a record with one field at least. Fields that aren't there stay empty.
bool TakeRecord(PlainTokens& tokens, RecordView& record) {
    char before = '{';
    for (const auto& [key, place] : kFields) {
        PlainTokens ahead = tokens;
        if (ahead.Take(before) && ahead.TakeKey(key)) {
            if (!ahead.TakeString(record.*place)) {
                return false;
            }
            tokens = ahead;
            before = ',';
        }
    }
    return before == ',' && tokens.Take('}');
}

/// Returns whether the text goes on with records, and nothing but the end of the message follows.
bool AreRecordsToTheEnd(PlainTokens tokens) {
    RecordView record;
    do {
        if (!TakeRecord(tokens, record)) {
            return false;
        }
    } while (tokens.Take(','));
    return tokens.Take(']') && tokens.Take('}') && tokens.AtEnd();
}

}  // namespace

PlainReports::PlainReports(std::string_view text)
    : rest(text),
      hasNext(rest.Take('{') && rest.TakeKey(Section::kGetResponses) && rest.Take('[') &&
              HasOnlyPlainStrings(text) && AreRecordsToTheEnd(rest)) {}

RecordView PlainReports::Next() {
    RecordView record;
    // The constructor has looked through the whole text.
    static_cast<void>(TakeRecord(rest, record));
    const SplitGuid guids = SplitCompositeGuid(record.guid);
    record.groupGuid = guids.groupGuid;
    record.guid = guids.guid;
    hasNext = rest.Take(',');
    return record;
}

}  // namespace vantry
