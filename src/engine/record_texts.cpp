#include "engine/record_texts.h"

#include <string_view>
#include <utility>

#include "wire/json/json_escapes.h"
#include "wire/property_records.h"
#include "wire/record_text.h"

namespace vantry {
namespace {

/// Returns the value as it stands in a record.
std::string ValueOf(const Property& property) {
    std::string value;
    property.GetPublishedText(value);
    if (EscapedLength(value) != value.size()) {
        value = EscapeJsonText(value);
    }
    return value;
}

void AppendText(std::string& text, const Property& property, const RecordOwner& owner,
                std::string_view status, std::string_view value) {
    AppendRecord(text, {.component = owner.component,
                        .componentString = owner.name,
                        .groupGuid = property.GroupGuid(),
                        .guid = property.Guid(),
                        .groupString = property.Group(),
                        .nameString = property.Name(),
                        .status = status,
                        .value = value});
}

}  // namespace

KeptText::Shared RecordTextOf(const Property& property, const RecordOwner& owner) {
    return property.RecordText().Get([&](KeptText::Text& made) {
        const std::string value = ValueOf(property);
        if (made.constantBytes != 0) {
            ReplaceValue(made.text, made.constantBytes, value);
            return;
        }
        AppendText(made.text, property, owner, Status::kSuccessful, value);
        made.constantBytes = ValuePlace(made.text, value);
    });
}

KeptText::Shared WithdrawalTextOf(const Property& property, const RecordOwner& owner) {
    std::string text;
    AppendText(text, property, owner, Status::kNoLongerAvailable, ValueOf(property));
    return std::make_shared<const std::string>(std::move(text));
}

}  // namespace vantry
