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
    value = EscapeJsonText(value);
    const RecordView record{.component = owner.component,
                            .componentString = owner.name,
                            .groupGuid = property.GroupGuid(),
                            .guid = property.Guid(),
                            .groupString = property.Group(),
                            .nameString = property.Name(),
                            .status = status,
                            .value = value};
    // The bytes of the field names and of the punctuation.
    constexpr std::size_t kFixed = 128;
    std::string text;
    text.reserve(kFixed + owner.component.size() + owner.name.size() + property.GroupGuid().size() +
                 property.Guid().size() + property.Group().size() + property.Name().size() +
                 status.size() + value.size());
    AppendRecord(text, record);
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
