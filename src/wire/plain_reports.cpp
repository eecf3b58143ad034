// Reports without a tree.
//
// Components report all their properties when they connect, and each change afterwards. Programs
// write the fields of a record in the order of the hub's own records, and some leave out names that
// the hub knows. Such a text is first looked through to its end, so that a text with a mistake has
// no effect, and then taken apart record by record, without memory, however many there are. Any
// doubt is left to the parser, as for reads (plain_reads.cpp). So this accepts only texts that the
// parser would accept too, with the same records.

#include "wire/plain_reports.h"

#include "wire/key/property_key.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

/// Takes a field if it comes next. `before` is the byte before it, and then before the next field.
template <const std::string_view& kKey>
void TakeIfNext(PlainTokens& tokens, char& before, std::string_view& content) {
    PlainTokens ahead = tokens;
    if (ahead.TakeField<kKey>(before, content)) {
        tokens = ahead;
        before = ',';
    }
}

/// Takes a record with one field at least, whose fields are in the usual order. Fields that aren't
/// there stay empty. The composite GUID is stored as the GUID.
bool TakeRecord(PlainTokens& tokens, RecordView& record) {
    char before = '{';
    TakeIfNext<Field::kComponent>(tokens, before, record.component);
    TakeIfNext<Field::kComponentString>(tokens, before, record.componentString);
    TakeIfNext<Field::kGuid>(tokens, before, record.guid);
    TakeIfNext<Field::kGroupString>(tokens, before, record.groupString);
    TakeIfNext<Field::kNameString>(tokens, before, record.nameString);
    TakeIfNext<Field::kStatus>(tokens, before, record.status);
    TakeIfNext<Field::kValue>(tokens, before, record.value);
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
