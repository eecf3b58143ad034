#include "engine/record_texts.h"

#include <string_view>

#include "wire/json/json_escapes.h"
#include "wire/property_records.h"
#include "wire/record_text.h"

namespace vantry {
namespace {

std::string MakeText(const Property& property, const RecordOwner& owner, std::string_view status) {
    std::string value;
    property.GetPublishedText(value);
    if (EscapedLength(value) != value.size()) {
        value = EscapeJsonText(value);
    }
    std::string text;
    AppendRecord(text, {.component = owner.component,
                        .componentString = owner.name,
                        .groupGuid = property.GroupGuid(),
                        .guid = property.Guid(),
                        .groupString = property.Group(),
                        .nameString = property.Name(),
                        .status = status,
                        .value = value});
    return text;
}

}  // namespace

KeptText::Shared RecordTextOf(const Property& property, const RecordOwner& owner) {
    return property.RecordText().Get(
        [&] { return MakeText(property, owner, Status::kSuccessful); });
}

KeptText::Shared WithdrawalTextOf(const Property& property, const RecordOwner& owner) {
    return std::make_shared<const std::string>(
        MakeText(property, owner, Status::kNoLongerAvailable));
}

}  // namespace vantry
